#include <gtest/gtest.h>
#include <vector>

#include "platform/easy_comm.h"
#include "platform/sim/sim_ezcom.h"
#include "tests/platform_sim/sim_test_support.h"

namespace ProcMgr::Sim {
namespace {

using SimTest::operator<<;  // NOLINT(misc-unused-using-decls): gtest prints rows with it

struct BusyCase {
    const char* guards;
    int64_t busyCalls;
    EzcomCall call;
    std::vector<int> answers;  // of consecutive calls
};

class EzcomBusyTest : public ::testing::TestWithParam<BusyCase> {};

TEST_P(EzcomBusyTest, AnswersTransientCodeForTheFirstCalls)
{
    SimTest::TempDir dir;
    SimTest::JournalFile journal(dir.File("journal"));
    SimEzcom ezcom(GetParam().busyCalls, journal.Sink());
    std::vector<int> answers;
    for (size_t i = 0; i < GetParam().answers.size(); ++i) {
        answers.push_back(ezcom.Call(GetParam().call, 3));
    }
    EXPECT_EQ(answers, GetParam().answers);
}

constexpr int BUSY = EZCOM_TRANSIENT_BUSY;
constexpr int CLOSE_BUSY = EZCOM_CLOSE_PIPE_BUSY;

INSTANTIATE_TEST_SUITE_P(
    Table, EzcomBusyTest,
    ::testing::Values(
        BusyCase{"not busy", 0, EzcomCall::SEND_REQUEST, {0, 0}},
        BusyCase{"two busy calls then success", 2, EzcomCall::SEND_RESPONSE, {BUSY, BUSY, 0, 0}},
        BusyCase{"rpc counts the same way", 1, EzcomCall::RPC_SYNC, {BUSY, 0}},
        BusyCase{"close pipe answers its own code", 2, EzcomCall::CLOSE_PIPE, {CLOSE_BUSY, CLOSE_BUSY, 0}},
        BusyCase{"negative means always busy", -1, EzcomCall::SEND_REQUEST, {BUSY, BUSY, BUSY, BUSY}},
        BusyCase{"negative close pipe always busy", -7, EzcomCall::CLOSE_PIPE, {CLOSE_BUSY, CLOSE_BUSY, CLOSE_BUSY}}),
    SimTest::RowName<BusyCase>);

// A retry loop on one function must not use up another's busy calls.
TEST(EzcomBusyCounting, EachFunctionCountsItsOwnCalls)
{
    SimTest::TempDir dir;
    SimTest::JournalFile journal(dir.File("journal"));
    SimEzcom ezcom(1, journal.Sink());
    EXPECT_EQ(ezcom.Call(EzcomCall::SEND_REQUEST, 1), BUSY);
    EXPECT_EQ(ezcom.Call(EzcomCall::SEND_REQUEST, 1), 0);
    EXPECT_EQ(ezcom.TimedRpc(2, 500), BUSY);
    EXPECT_EQ(ezcom.TimedRpc(2, 500), 0);
    EXPECT_EQ(ezcom.Call(EzcomCall::CLOSE_PIPE, 2), CLOSE_BUSY);
    EXPECT_EQ(ezcom.FinishServer(), 0);
    EXPECT_EQ(journal.Lines(), (std::vector<std::string>{
                                   "ezcom SendRequest pipe=1 ret=-11",
                                   "ezcom SendRequest pipe=1 ret=0",
                                   "ezcom TimedRPCSync pipe=2 timeout=500 ret=-11",
                                   "ezcom TimedRPCSync pipe=2 timeout=500 ret=0",
                                   "ezcom ClosePipe pipe=2 ret=-16",
                                   "ezcom CfgFinishServer",
                               }));
}

}  // namespace
}  // namespace ProcMgr::Sim
