// Takes the place of libc's syslog in the test executables (the executable's definition wins),
// also in its fortified form.
#include <syslog.h>

#include <cstdarg>
#include <cstdio>

#include "tests/fakes/fakes.h"
#include "tests/fakes/state.h"

namespace Fakes {
namespace {
__attribute__((format(printf, 2, 0))) void Record(int priority, const char* fmt, va_list args)
{
    const std::string text = FormatText(fmt, args);
    std::lock_guard<std::mutex> lock(FakeMutex());
    char prefix[32];
    snprintf(prefix, sizeof(prefix), "syslog 0x%x ", static_cast<unsigned>(priority));
    RecordTimelineLocked(prefix + text);
}
}  // namespace

}  // namespace Fakes

extern "C" {
__attribute__((format(printf, 2, 3))) void syslog(int priority, const char* fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    Fakes::Record(priority, fmt, args);
    va_end(args);
}

__attribute__((format(printf, 3, 4))) void __syslog_chk(int priority, int /*flag*/, const char* fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    Fakes::Record(priority, fmt, args);
    va_end(args);
}
}
