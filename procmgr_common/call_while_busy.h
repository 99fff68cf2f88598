// The retry loop shared by the messaging wrappers; internal to the library.
#ifndef PROCMGR_COMMON_CALL_WHILE_BUSY_H
#define PROCMGR_COMMON_CALL_WHILE_BUSY_H

#include <cerrno>
#include <ctime>

namespace ProcMgr {

struct BusyRetry {
    int busyCode;   // the one result that is retried
    int maxCalls;   // attempt budget
    timespec wait;  // after every busy answer, the last one included
};

inline constexpr BusyRetry SEND_RETRY{-11, 401, {0, 5000000}};
inline constexpr BusyRetry CLOSE_RETRY{-16, 10, {0, 100000000}};

// Waits for span in full: a signal costs no time, since sleep writes back what is left and is asked
// for exactly that. Any other failure cuts the wait short.
template <typename Sleep>
void WaitOut(timespec span, Sleep&& sleep)
{
    while (sleep(&span, &span) != 0 && errno == EINTR) {
    }
}

// Calls call() until it answers something other than retry.busyCode or the budget is spent, and
// returns the last answer. sleep is called like nanosleep(requested, remaining).
template <typename Call, typename Sleep>
int CallWhileBusy(Call&& call, const BusyRetry& retry, Sleep&& sleep)
{
    int result = retry.busyCode;
    for (int calls = 0; calls < retry.maxCalls; ++calls) {
        result = call();
        if (result != retry.busyCode) {
            return result;
        }
        WaitOut(retry.wait, sleep);
    }
    return result;
}

}  // namespace ProcMgr

#endif
