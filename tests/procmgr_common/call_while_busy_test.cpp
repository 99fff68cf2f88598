#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <string>
#include <vector>

#include "procmgr_common/call_while_busy.h"

namespace {

constexpr long NS_PER_MS = 1000000;

// Messaging stand-in: gives its answers in turn, repeating the last one.
struct ScriptedCall {
    std::vector<int> answers;
    std::vector<std::string>* events;
    int calls = 0;

    int operator()()
    {
        events->push_back("call");
        const size_t index = std::min(static_cast<size_t>(calls), answers.size() - 1);
        ++calls;
        return answers[index];
    }
};

struct SleepOutcome {
    int result;
    int error;
    timespec remaining;  // written back when result is -1
};

// nanosleep stand-in: gives its outcomes in turn, then succeeds; records every span it is asked for.
struct ScriptedSleep {
    std::vector<SleepOutcome> outcomes;
    std::vector<std::string>* events;
    std::vector<timespec> requested;

    int operator()(const timespec* request, timespec* remaining)
    {
        requested.push_back(*request);
        events->push_back("sleep " + std::to_string(request->tv_sec) + "s" + std::to_string(request->tv_nsec) + "ns");
        const size_t index = requested.size() - 1;
        if (index >= outcomes.size()) {
            return 0;
        }
        errno = outcomes[index].error;
        if (outcomes[index].result != 0) {
            *remaining = outcomes[index].remaining;
        }
        return outcomes[index].result;
    }
};

std::string WaitEvent(long ns)
{
    return "sleep 0s" + std::to_string(ns) + "ns";
}

TEST(CallWhileBusyTest, RetriesOnlyItsBusyCodeWithinBudget)
{
    const struct {
        const char* guards;
        ProcMgr::BusyRetry retry;
        std::vector<int> answers;
        int expectedResult;
        int expectedCalls;
        long expectedWaitNs;  // after each of the first expectedCalls busy answers
        int expectedWaits;
    } rows[] = {
        {"send: success at once, no wait", ProcMgr::SEND_RETRY, {0}, 0, 1, 5 * NS_PER_MS, 0},
        {"send: three busy answers then success", ProcMgr::SEND_RETRY, {-11, -11, -11, 0}, 0, 4, 5 * NS_PER_MS, 3},
        {"send: always busy uses all 401 calls, waits after the last", ProcMgr::SEND_RETRY, {-11}, -11, 401,
         5 * NS_PER_MS, 401},
        {"send: busy then another error returns that error", ProcMgr::SEND_RETRY, {-11, -5}, -5, 2, 5 * NS_PER_MS, 1},
        {"send: positive result returned unchanged", ProcMgr::SEND_RETRY, {-11, 42}, 42, 2, 5 * NS_PER_MS, 1},
        {"send: close's busy code ends at once", ProcMgr::SEND_RETRY, {-16, 0}, -16, 1, 5 * NS_PER_MS, 0},
        {"send: -EAGAIN's neighbour -12 is not retried", ProcMgr::SEND_RETRY, {-12, 0}, -12, 1, 5 * NS_PER_MS, 0},
        {"send: positive 11 is not retried", ProcMgr::SEND_RETRY, {11, 0}, 11, 1, 5 * NS_PER_MS, 0},
        {"close: busy twice then closed", ProcMgr::CLOSE_RETRY, {-16, -16, 0}, 0, 3, 100 * NS_PER_MS, 2},
        {"close: always busy uses all 10 calls, waits after the last", ProcMgr::CLOSE_RETRY, {-16}, -16, 10,
         100 * NS_PER_MS, 10},
        {"close: send's busy code ends at once", ProcMgr::CLOSE_RETRY, {-11, 0}, -11, 1, 100 * NS_PER_MS, 0},
    };
    for (const auto& row : rows) {
        std::vector<std::string> events;
        ScriptedCall call{row.answers, &events};
        ScriptedSleep sleep{{}, &events, {}};

        const int result = ProcMgr::CallWhileBusy(call, row.retry, sleep);

        std::vector<std::string> expectedEvents;
        for (int i = 0; i < row.expectedCalls; ++i) {
            expectedEvents.push_back("call");
            if (i < row.expectedWaits) {
                expectedEvents.push_back(WaitEvent(row.expectedWaitNs));
            }
        }
        EXPECT_EQ(result, row.expectedResult) << row.guards;
        EXPECT_EQ(events, expectedEvents) << row.guards;
    }
}

TEST(CallWhileBusyTest, SignalStormNeitherShortensWaitsNorCostsCalls)
{
    const long waitNs = 5 * NS_PER_MS;
    std::vector<std::string> events;
    ScriptedCall call{{-11, -11, 0}, &events};
    ScriptedSleep sleep{{{-1, EINTR, {0, 3 * NS_PER_MS}},
                         {-1, EINTR, {0, 2 * NS_PER_MS}},
                         {-1, EINTR, {0, 250000}},
                         {0, 0, {}},
                         {-1, EINTR, {0, 1}},
                         {0, 0, {}}},
                        &events,
                        {}};

    EXPECT_EQ(ProcMgr::CallWhileBusy(call, ProcMgr::SEND_RETRY, sleep), 0);

    EXPECT_EQ(call.calls, 3);
    const std::vector<std::string> expectedEvents = {
        "call",
        WaitEvent(waitNs), WaitEvent(3 * NS_PER_MS), WaitEvent(2 * NS_PER_MS), WaitEvent(250000),
        "call",
        WaitEvent(waitNs), WaitEvent(1),
        "call",
    };
    EXPECT_EQ(events, expectedEvents);
}

TEST(CallWhileBusyTest, SleepOutcomeDecidesWhetherWaitResumes)
{
    const struct {
        const char* guards;
        SleepOutcome first;
        int expectedSleeps;
    } rows[] = {
        {"EINTR resumes the wait", {-1, EINTR, {0, 1000}}, 2},
        {"EINVAL ends the wait", {-1, EINVAL, {0, 1000}}, 1},
        {"EFAULT ends the wait", {-1, EFAULT, {0, 1000}}, 1},
        {"success ends the wait despite a stale EINTR in errno", {0, EINTR, {0, 1000}}, 1},
    };
    for (const auto& row : rows) {
        std::vector<std::string> events;
        ScriptedCall call{{-16, 0}, &events};
        ScriptedSleep sleep{{row.first}, &events, {}};

        EXPECT_EQ(ProcMgr::CallWhileBusy(call, ProcMgr::CLOSE_RETRY, sleep), 0) << row.guards;

        EXPECT_EQ(call.calls, 2) << row.guards << ": a cut-short wait still retries";
        EXPECT_EQ(sleep.requested.size(), static_cast<size_t>(row.expectedSleeps)) << row.guards;
    }
}

}  // namespace
