// Shared between the fakes' sources: one mutex guards every fake's state.
#ifndef TESTS_FAKES_STATE_H
#define TESTS_FAKES_STATE_H

#include <cstdarg>
#include <mutex>
#include <string>

namespace Fakes {
std::mutex& FakeMutex();
void RecordTimelineLocked(const std::string& line);
// The text a printf-style call would print.
__attribute__((format(printf, 1, 0))) std::string FormatText(const char* fmt, va_list args);
void ResetHalLocked();
void ResetLogLocked();
void ResetEzcomLocked();
}  // namespace Fakes

#endif
