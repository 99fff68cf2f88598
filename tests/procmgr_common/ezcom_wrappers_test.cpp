#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "procmgr_common/procmgr_common.h"
#include "tests/fakes/fakes.h"

namespace {

constexpr int PIPE = 37;
constexpr int TIMEOUT = 1234;
constexpr int NOT_CALLED = -999;

alignas(8) unsigned char requestStorage[8];
alignas(8) unsigned char responseStorage[8];
EzcomRequest* const REQUEST = reinterpret_cast<EzcomRequest*>(requestStorage);
EzcomResponse* const RESPONSE = reinterpret_cast<EzcomResponse*>(responseStorage);

struct Wrapper {
    const char* function;           // as the fake messaging library records it
    std::function<int()> invoke;    // NOT_CALLED stands for the close wrapper's missing result
    const void* expectedRequest;
    const void* expectedResponse;
    int expectedTimeout;
    int busyCode;
};

const std::vector<Wrapper>& Wrappers()
{
    static const std::vector<Wrapper> wrappers = {
        {"SendRequest", [] { return ProcMgr::ProcMgrEzcomSendRequest(PIPE, REQUEST); }, REQUEST, nullptr, 0, -11},
        {"SendResponse", [] { return ProcMgr::ProcMgrEzcomSendResponse(PIPE, RESPONSE); }, nullptr, RESPONSE, 0, -11},
        {"RPCSync", [] { return ProcMgr::ProcMgrEzcomRPCSync(PIPE, REQUEST, RESPONSE); }, REQUEST, RESPONSE, 0, -11},
        {"TimedRPCSync", [] { return ProcMgr::ProcMgrEzcomTimedRPCSync(PIPE, REQUEST, RESPONSE, TIMEOUT); }, REQUEST,
         RESPONSE, TIMEOUT, -11},
        {"ClosePipe", [] { ProcMgr::ProcMgrEzcomClosePipe(PIPE); return NOT_CALLED; }, nullptr, nullptr, 0, -16},
    };
    return wrappers;
}

void PrintTo(const Wrapper& wrapper, std::ostream* out)
{
    *out << wrapper.function;
}

// Answers in turn, repeating the last answer.
void AnswerInTurn(std::vector<int> answers)
{
    auto next = std::make_shared<size_t>(0);
    Fakes::SetEzcomAnswer([answers, next](const Fakes::EzcomCall&) {
        const size_t index = std::min(*next, answers.size() - 1);
        ++*next;
        return answers[index];
    });
}

class EzcomWrapperTest : public testing::TestWithParam<Wrapper> {
protected:
    void SetUp() override { Fakes::ResetAll(); }
    void TearDown() override { Fakes::ResetAll(); }
};

TEST_P(EzcomWrapperTest, EveryAttemptGetsTheCallersArguments)
{
    const Wrapper& wrapper = GetParam();
    AnswerInTurn({wrapper.busyCode, wrapper.busyCode, 0});

    const int result = wrapper.invoke();

    if (result != NOT_CALLED) {
        EXPECT_EQ(result, 0);
    }
    const auto calls = Fakes::EzcomCalls();
    ASSERT_EQ(calls.size(), 3U);
    for (const auto& call : calls) {
        EXPECT_EQ(call.function, wrapper.function);
        EXPECT_EQ(call.pipe, PIPE);
        EXPECT_EQ(call.request, wrapper.expectedRequest);
        EXPECT_EQ(call.response, wrapper.expectedResponse);
        EXPECT_EQ(call.timeout, wrapper.expectedTimeout);
    }
}

TEST_P(EzcomWrapperTest, ResultOtherThanItsBusyCodeEndsAtOnce)
{
    const Wrapper& wrapper = GetParam();
    const int otherBusyCode = wrapper.busyCode == -11 ? -16 : -11;
    for (const int answer : {0, -1, otherBusyCode, 5}) {
        Fakes::ResetAll();
        AnswerInTurn({answer, 0});

        const int result = wrapper.invoke();

        if (result != NOT_CALLED) {
            EXPECT_EQ(result, answer) << wrapper.function;
        }
        EXPECT_EQ(Fakes::EzcomCalls().size(), 1U) << wrapper.function << " answering " << answer;
    }
}

TEST_P(EzcomWrapperTest, BusyAnswerIsFollowedByARealWait)
{
    const Wrapper& wrapper = GetParam();
    const auto minimumWait = wrapper.busyCode == -11 ? std::chrono::milliseconds(5) : std::chrono::milliseconds(100);
    AnswerInTurn({wrapper.busyCode, -3});

    const auto start = std::chrono::steady_clock::now();
    const int result = wrapper.invoke();
    const auto elapsed = std::chrono::steady_clock::now() - start;

    if (result != NOT_CALLED) {
        EXPECT_EQ(result, -3);
    }
    EXPECT_EQ(Fakes::EzcomCalls().size(), 2U);
    EXPECT_GE(elapsed, minimumWait);
}

INSTANTIATE_TEST_SUITE_P(AllWrappers, EzcomWrapperTest, testing::ValuesIn(Wrappers()),
                         [](const testing::TestParamInfo<Wrapper>& row) { return row.param.function; });

}  // namespace
