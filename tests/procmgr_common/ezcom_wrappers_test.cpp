#include <algorithm>
#include <cerrno>
#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <tuple>
#include <vector>

#include "procmgr_common/call_while_busy.h"
#include "procmgr_common/procmgr_common.h"
#include "tests/fakes/fakes.h"

namespace {

struct SleepOutcome {
    int result;
    int error;
    long remainingNs;  // written back when result is -1
};

std::string Busy(int times, long waitNs)
{
    std::string events;
    for (int i = 0; i < times; ++i) {
        events += "C " + std::to_string(waitNs) + " ";
    }
    return events;
}

// The retry loop with scripted answers (the last one repeats) and a scripted nanosleep (success once
// its outcomes run out). Events: "C" per call, the requested span in ns per sleep.
TEST(CallWhileBusyTest, RetriesOnlyItsBusyCodeWithinBudgetAndWaitsOutSignals)
{
    constexpr long SEND_NS = 5000000;
    constexpr long CLOSE_NS = 100000000;
    const struct {
        const char* guards;
        ProcMgr::BusyRetry retry;
        std::vector<int> answers;
        std::vector<SleepOutcome> sleeps;
        int result;
        std::string events;
    } rows[] = {
        {"success at once, no wait", ProcMgr::SEND_RETRY, {0}, {}, 0, "C "},
        {"three busy answers then success", ProcMgr::SEND_RETRY, {-11, -11, -11, 0}, {}, 0, Busy(3, SEND_NS) + "C "},
        {"always busy: 401 calls, a wait after each", ProcMgr::SEND_RETRY, {-11}, {}, -11, Busy(401, SEND_NS)},
        {"busy then another error returns that error", ProcMgr::SEND_RETRY, {-11, -5}, {}, -5, Busy(1, SEND_NS) + "C "},
        {"send does not retry close's busy code", ProcMgr::SEND_RETRY, {-16, 0}, {}, -16, "C "},
        {"close: always busy, 10 calls of 100 ms", ProcMgr::CLOSE_RETRY, {-16}, {}, -16, Busy(10, CLOSE_NS)},
        {"close does not retry send's busy code", ProcMgr::CLOSE_RETRY, {-11, 0}, {}, -11, "C "},
        {"signal storm: each wait resumed for what is left, no call spent",
         ProcMgr::SEND_RETRY,
         {-11, -11, 0},
         {{-1, EINTR, 3000000}, {-1, EINTR, 2000000}, {-1, EINTR, 250000}, {0, 0, 0}, {-1, EINTR, 1}},
         0,
         "C 5000000 3000000 2000000 250000 C 5000000 1 C "},
        {"another sleep failure ends the wait",
         ProcMgr::CLOSE_RETRY,
         {-16, 0},
         {{-1, EINVAL, 1000}},
         0,
         Busy(1, CLOSE_NS) + "C "},
        {"success ends the wait despite a stale EINTR",
         ProcMgr::CLOSE_RETRY,
         {-16, 0},
         {{0, EINTR, 1000}},
         0,
         Busy(1, CLOSE_NS) + "C "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.guards);
        std::string events;
        size_t calls = 0;
        size_t sleeps = 0;
        const auto call = [&] {
            events += "C ";
            return row.answers[std::min(calls++, row.answers.size() - 1)];
        };
        const auto sleep = [&](const timespec* request, timespec* remaining) {
            events += std::to_string(request->tv_sec * 1000000000 + request->tv_nsec) + " ";
            if (sleeps == row.sleeps.size()) {
                return 0;
            }
            const SleepOutcome& outcome = row.sleeps[sleeps++];
            errno = outcome.error;
            if (outcome.result != 0) {
                *remaining = {0, outcome.remainingNs};
            }
            return outcome.result;
        };
        EXPECT_EQ(ProcMgr::CallWhileBusy(call, row.retry, sleep), row.result);
        EXPECT_EQ(events, row.events);
    }
}

constexpr int PIPE = 37;
constexpr int TIMEOUT = 1234;
constexpr int NO_RESULT = -999;  // stands for the close wrapper's missing result

alignas(8) unsigned char storage[16];
EzcomRequest* const REQUEST = reinterpret_cast<EzcomRequest*>(storage);
EzcomResponse* const RESPONSE = reinterpret_cast<EzcomResponse*>(storage + 8);

// Each wrapper against the fake messaging library, with real waits: two of its own busy answers are
// retried with the caller's arguments; any other answer, the other wrapper's busy code included, ends it.
TEST(EzcomWrapperTest, EachWrapperRetriesItsBusyCodeWithTheCallersArguments)
{
    const struct {
        const char* function;
        std::function<int()> invoke;
        const void* request;
        const void* response;
        int timeout;
    } wrappers[] = {
        {"SendRequest", [] { return ProcMgr::ProcMgrEzcomSendRequest(PIPE, REQUEST); }, REQUEST, nullptr, 0},
        {"SendResponse", [] { return ProcMgr::ProcMgrEzcomSendResponse(PIPE, RESPONSE); }, nullptr, RESPONSE, 0},
        {"RPCSync", [] { return ProcMgr::ProcMgrEzcomRPCSync(PIPE, REQUEST, RESPONSE); }, REQUEST, RESPONSE, 0},
        {"TimedRPCSync", [] { return ProcMgr::ProcMgrEzcomTimedRPCSync(PIPE, REQUEST, RESPONSE, TIMEOUT); }, REQUEST,
         RESPONSE, TIMEOUT},
        {"ClosePipe",
         [] {
             ProcMgr::ProcMgrEzcomClosePipe(PIPE);
             return NO_RESULT;
         },
         nullptr, nullptr, 0},
    };
    for (const auto& wrapper : wrappers) {
        const bool isClose = std::string(wrapper.function) == "ClosePipe";
        const int busyCode = isClose ? -16 : -11;
        for (const int lastAnswer : {-3, isClose ? -11 : -16}) {
            SCOPED_TRACE(std::string(wrapper.function) + " answering " + std::to_string(lastAnswer));
            Fakes::ResetAll();
            const int answers[] = {busyCode, busyCode, lastAnswer};
            size_t next = 0;
            Fakes::SetEzcomAnswer([&](const Fakes::EzcomCall&) { return answers[std::min<size_t>(next++, 2)]; });
            const auto start = std::chrono::steady_clock::now();
            EXPECT_EQ(wrapper.invoke(), isClose ? NO_RESULT : lastAnswer);
            EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(isClose ? 200 : 10));
            const auto calls = Fakes::EzcomCalls();
            EXPECT_EQ(calls.size(), 3U);
            for (const auto& call : calls) {
                EXPECT_EQ(std::make_tuple(call.function, call.pipe, call.request, call.response, call.timeout),
                          std::make_tuple(std::string(wrapper.function), PIPE, wrapper.request, wrapper.response,
                                          wrapper.timeout));
            }
        }
    }
    Fakes::ResetAll();
}

}  // namespace
