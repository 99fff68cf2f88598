// Shared between the fakes' sources: every fake's state, guarded by one mutex.
#ifndef TESTS_FAKES_STATE_H
#define TESTS_FAKES_STATE_H

#include <cstdarg>
#include <mutex>
#include <string>

#include "tests/fakes/fakes.h"

namespace Fakes {
struct FakeState {
    std::vector<std::string> timeline;
    HalSetup hal;
    std::vector<HalCall> halCalls;
    uint64_t nextHandle = 1;
    LogSetup log;
    std::vector<LogRecord> logRecords;
    std::function<int(const EzcomCall&)> ezcomAnswer;
    std::vector<EzcomCall> ezcomCalls;
};
std::mutex& FakeMutex();
FakeState& State();  // only with FakeMutex held

// A copy of a part of the state, taken under the mutex.
template <typename T>
T Locked(const T& part)
{
    std::lock_guard<std::mutex> lock(FakeMutex());
    return part;
}

// The text a printf-style call would print.
__attribute__((format(printf, 1, 0))) std::string FormatText(const char* fmt, va_list args);
}  // namespace Fakes

#endif
