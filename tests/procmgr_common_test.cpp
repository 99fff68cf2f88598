// The name tables at their edges, IsStrDigits, the retry loop (what is retried, how often, how long
// each wait is, and that a signal costs neither time nor an attempt), and each wrapper's call.
#include <cerrno>
#include <ctime>
#include <gtest/gtest.h>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "platform/sim/control.h"
#include "procmgr_common/call_while_busy.h"
#include "procmgr_common/procmgr_common.h"

namespace ProcMgr {
namespace {

TEST(NameTables, EdgeRowsAndKeysBeyondTheTables)
{
    using Name = std::string (*)(unsigned long);
    // clang-format off
    const std::tuple<Name, unsigned long, const char*> rows[] = {
        {GetReportAppStateTypeStr, 5, "INVALID_INTERMEDIATE_STATE"}, {GetReportAppStateTypeStr, 6, ""},
        {GetProcessStateStr, 5, "RESTARTING"}, {GetBaseServiceStateTypeStr, 1, "RESTARTING"},
        {GetBaseServiceStateTypeStr, 3, "TERMINATING"}, {GetAppExecStateStr, 1, "TERMINATED"}, {GetAppExecStateStr, 2, ""},
        {GetOptionType, 2, "RESTART"}, {GetOptionType, 3, ""}, {GetGroupOwner, 2, "APPMGR"}, {GetGroupOwner, 3, ""},
        {GetAppState, 6, "START_FAILED_BY_EIO"}, {GetAppState, 7, ""},
        {GetSysState, 0, "OFF"}, {GetSysState, 4, "CALIBRATION"}, {GetSysState, 5, ""}};
    // clang-format on
    for (const auto& [name, key, expected] : rows) {
        EXPECT_EQ(name(key), expected) << key;
        EXPECT_EQ(name(static_cast<unsigned long>(-1)), "");
    }
}

TEST(NameTables, IsStrDigitsAcceptsOnlyTheTenDigits)
{
    EXPECT_TRUE(IsStrDigits("") && IsStrDigits("0123456789"));
    for (const char* text : {"+1", "-1", " 1", "1.5", "12a", "1\xb2"}) {
        EXPECT_FALSE(IsStrDigits(text)) << text;
    }
    EXPECT_FALSE(IsStrDigits(std::string("1\0002", 3)));
}

// Scripted answers (the last repeats), and a nanosleep whose first wait, when interrupted, a signal
// cuts short with 1 ms left. Events: "C" for a call, the requested ns for a sleep.
std::string Retry(const BusyRetry& retry, const std::vector<int>& answers, bool interrupted, int& result)
{
    std::string events;
    size_t calls = 0;
    const auto call = [&] {
        events += "C ";
        return answers[std::min(calls++, answers.size() - 1)];
    };
    const auto sleep = [&](const timespec* requested, timespec* left) {
        events += std::to_string(requested->tv_sec * 1000000000L + requested->tv_nsec) + " ";
        *left = {0, 1000000};
        errno = EINTR;
        return std::exchange(interrupted, false) ? -1 : 0;
    };
    result = CallWhileBusy(call, retry, sleep);
    return events;
}

std::string Busy(int times, const std::string& waitNs)
{
    return times == 0 ? "" : "C " + waitNs + " " + Busy(times - 1, waitNs);
}

TEST(Wrappers, RetryOnlyTheirBusyCodeWithinTheBudgetAndWaitOutSignals)
{
    // clang-format off
    const std::tuple<BusyRetry, std::vector<int>, bool, int, std::string> rows[] = {
        {SEND_RETRY, {0}, false, 0, "C "},
        {SEND_RETRY, {-11, -11, -11, 0}, false, 0, Busy(3, "5000000") + "C "},
        {SEND_RETRY, {-11}, false, -11, Busy(401, "5000000")},
        {SEND_RETRY, {-11, -5}, false, -5, Busy(1, "5000000") + "C "},
        {SEND_RETRY, {-16}, false, -16, "C "},
        {CLOSE_RETRY, {-16}, false, -16, Busy(10, "100000000")},
        {CLOSE_RETRY, {-11}, false, -11, "C "},
        {SEND_RETRY, {-11, 0}, true, 0, "C 5000000 1000000 C "}};
    // clang-format on
    for (const auto& [retry, answers, interrupted, result, events] : rows) {
        int answer = 0;
        EXPECT_EQ(Retry(retry, answers, interrupted, answer), events);
        EXPECT_EQ(answer, result);
    }
}

TEST(Wrappers, EachCallsItsFunctionWithItsArgumentsUntilNotBusy)
{
    Sim::Settings settings;
    settings.ezcomBusyCalls = 1;
    Sim::Apply(settings);
    // A braced list calls them in order.
    const std::vector<int> results{ProcMgrEzcomSendRequest(3, nullptr), ProcMgrEzcomSendResponse(4, nullptr),
                                   ProcMgrEzcomRPCSync(5, nullptr, nullptr),
                                   ProcMgrEzcomTimedRPCSync(6, nullptr, nullptr, 250)};
    EXPECT_EQ(results, std::vector<int>(4, 0));
    ProcMgrEzcomClosePipe(7);
    std::string journal;
    for (const std::string& line : Sim::JournalLines()) {
        journal += line.substr(6) + ";";
    }
    EXPECT_EQ(journal,
              "SendRequest pipe=3 ret=-11;SendRequest pipe=3 ret=0;SendResponse pipe=4 ret=-11;SendResponse pipe=4 "
              "ret=0;RPCSync pipe=5 ret=-11;RPCSync pipe=5 ret=0;TimedRPCSync pipe=6 timeout=250 ret=-11;"
              "TimedRPCSync pipe=6 timeout=250 ret=0;ClosePipe pipe=7 ret=-16;ClosePipe pipe=7 ret=0;");
}

}  // namespace
}  // namespace ProcMgr
