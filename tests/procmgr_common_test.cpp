// The name tables at their edges, IsStrDigits, the retry loop (what is retried, how often, how long
// each wait is, and that a signal costs neither time nor an attempt), and each wrapper's call.
#include <cerrno>
#include <climits>
#include <ctime>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "platform/sim/control.h"
#include "procmgr_common/call_while_busy.h"
#include "procmgr_common/procmgr_common.h"

namespace ProcMgr {
namespace {

using NameFunction = std::string (*)(unsigned long);
const NameFunction NAME_FUNCTIONS[] = {GetReportAppStateTypeStr, GetProcessStateStr, GetBaseServiceStateTypeStr,
                                       GetAppExecStateStr,       GetOptionType,      GetGroupOwner,
                                       GetAppState,              GetSysState};

TEST(NameTables, EdgeRowsAndKeysBeyondTheTables)
{
    const struct {
        NameFunction name;
        unsigned long key;
        const char* expected;
    } rows[] = {
        {GetReportAppStateTypeStr, 5, "INVALID_INTERMEDIATE_STATE"}, {GetReportAppStateTypeStr, 6, ""},
        {GetProcessStateStr, 5, "RESTARTING"},    {GetBaseServiceStateTypeStr, 1, "RESTARTING"},
        {GetAppExecStateStr, 2, ""},              {GetOptionType, 3, ""},
        {GetGroupOwner, 3, ""},                   {GetAppState, 6, "START_FAILED_BY_EIO"},
        {GetAppState, 7, ""},                     {GetSysState, 0, "OFF"},
        {GetSysState, 4, "CALIBRATION"},          {GetSysState, 5, ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.name(row.key), row.expected) << "key " << row.key;
    }
    for (const NameFunction name : NAME_FUNCTIONS) {
        EXPECT_EQ(name(static_cast<unsigned long>(-1)), "");
    }
    std::string copy = GetProcessStateStr(5);
    copy[0] = 'X';
    EXPECT_EQ(GetProcessStateStr(5), "RESTARTING");
}

TEST(NameTables, IsStrDigitsAcceptsOnlyTheTenDigits)
{
    EXPECT_TRUE(IsStrDigits(""));
    EXPECT_TRUE(IsStrDigits("0123456789"));
    for (const std::string& text : std::vector<std::string>{"+1", "-1", " 1", "1.5", "12a", "1\xb2", {"1\0" "2", 3}}) {
        EXPECT_FALSE(IsStrDigits(text)) << text;
    }
}

// Scripted answers (the last repeats) and a nanosleep that answers EINTR with what is left, as
// scripted, then succeeds. Events: "C" for a call, the requested ns for a sleep.
std::string RunRetry(const BusyRetry& retry, std::vector<int> answers, std::vector<long> interruptedLeftNs,
                     int& result)
{
    std::string events;
    size_t calls = 0;
    result = CallWhileBusy(
        [&] {
            events += "C ";
            return answers[std::min(calls++, answers.size() - 1)];
        },
        retry,
        [&](const timespec* requested, timespec* left) {
            events += std::to_string(requested->tv_sec * 1000000000L + requested->tv_nsec) + " ";
            if (interruptedLeftNs.empty()) {
                return 0;
            }
            *left = {0, interruptedLeftNs.front()};
            interruptedLeftNs.erase(interruptedLeftNs.begin());
            errno = EINTR;
            return -1;
        });
    return events;
}

std::string Busy(int times, const char* waitNs)
{
    std::string events;
    for (int i = 0; i < times; ++i) {
        events += std::string("C ") + waitNs + " ";
    }
    return events;
}

TEST(Wrappers, RetryOnlyTheirBusyCodeWithinTheBudgetAndWaitOutSignals)
{
    const struct {
        BusyRetry retry;
        std::vector<int> answers;
        std::vector<long> interruptedLeftNs;
        int result;
        std::string events;
    } rows[] = {
        {SEND_RETRY, {0}, {}, 0, "C "},
        {SEND_RETRY, {-11, -11, -11, 0}, {}, 0, Busy(3, "5000000") + "C "},
        {SEND_RETRY, {-11}, {}, -11, Busy(401, "5000000")},
        {SEND_RETRY, {-11, -5}, {}, -5, Busy(1, "5000000") + "C "},
        {SEND_RETRY, {-16}, {}, -16, "C "},
        {CLOSE_RETRY, {-16}, {}, -16, Busy(10, "100000000")},
        {CLOSE_RETRY, {-11}, {}, -11, "C "},
        {SEND_RETRY, {-11, 0}, {3000000, 250000}, 0, "C 5000000 3000000 250000 C "},
    };
    for (const auto& row : rows) {
        int result = 0;
        EXPECT_EQ(RunRetry(row.retry, row.answers, row.interruptedLeftNs, result), row.events);
        EXPECT_EQ(result, row.result);
    }
}

TEST(Wrappers, EachCallsItsFunctionWithItsArgumentsUntilNotBusy)
{
    Sim::Settings settings;
    settings.ezcomBusyCalls = 1;
    Sim::Apply(settings);
    EXPECT_EQ(ProcMgrEzcomSendRequest(3, nullptr), 0);
    EXPECT_EQ(ProcMgrEzcomSendResponse(4, nullptr), 0);
    EXPECT_EQ(ProcMgrEzcomRPCSync(5, nullptr, nullptr), 0);
    EXPECT_EQ(ProcMgrEzcomTimedRPCSync(6, nullptr, nullptr, 250), 0);
    ProcMgrEzcomClosePipe(7);
    const std::vector<std::string> expected = {
        "ezcom SendRequest pipe=3 ret=-11",           "ezcom SendRequest pipe=3 ret=0",
        "ezcom SendResponse pipe=4 ret=-11",          "ezcom SendResponse pipe=4 ret=0",
        "ezcom RPCSync pipe=5 ret=-11",               "ezcom RPCSync pipe=5 ret=0",
        "ezcom TimedRPCSync pipe=6 timeout=250 ret=-11", "ezcom TimedRPCSync pipe=6 timeout=250 ret=0",
        "ezcom ClosePipe pipe=7 ret=-16",             "ezcom ClosePipe pipe=7 ret=0",
    };
    EXPECT_EQ(Sim::JournalLines(), expected);
}

}  // namespace
}  // namespace ProcMgr
