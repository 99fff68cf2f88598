// The logging library and syslog. syslog takes the place of libc's in the test executables (the
// executable's definition wins), also in its fortified form.
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <syslog.h>

#include "platform/launcher_log.h"
#include "platform/slog.h"
#include "tests/fakes/fakes.h"
#include "tests/fakes/state.h"

namespace Fakes {
namespace {
// Appends "KIND 0xCODE TEXT" to the timeline, and the record to the log records if there is one.
__attribute__((format(printf, 3, 0))) void Record(const char* kind, int code, const char* fmt, va_list args,
                                                  LogRecord* record = nullptr)
{
    const std::string text = FormatText(fmt, args);
    char prefix[48];
    snprintf(prefix, sizeof(prefix), "%s 0x%x ", kind, static_cast<unsigned>(code));
    std::lock_guard<std::mutex> lock(FakeMutex());
    State().timeline.push_back(prefix + text);
    if (record != nullptr) {
        record->text = text;
        State().logRecords.push_back(*record);
    }
}
}  // namespace

void SetLog(const LogSetup& setup)
{
    std::lock_guard<std::mutex> lock(FakeMutex());
    State().log = setup;
}

std::vector<LogRecord> LogRecords()
{
    return Locked(State().logRecords);
}

bool LogContains(const std::string& needle)
{
    const std::vector<LogRecord> records = LogRecords();
    return std::any_of(records.begin(), records.end(),
                       [&](const LogRecord& record) { return record.text.find(needle) != std::string::npos; });
}

}  // namespace Fakes

extern "C" {
int CheckLogLevel(int moduleId, int level)
{
    std::lock_guard<std::mutex> lock(Fakes::FakeMutex());
    const auto& setup = Fakes::State().log;
    if ((moduleId & ProcMgr::LOG_RUNLOG_FLAG) != 0 && !setup.runLog) {
        return 0;
    }
    return level >= setup.minLevel ? 1 : 0;
}

__attribute__((format(printf, 3, 4))) void DlogRecord(int moduleId, int level, const char* fmt, ...)
{
    Fakes::LogRecord record{moduleId, level, ""};
    va_list args;
    va_start(args, fmt);
    Fakes::Record(("log " + std::to_string(level)).c_str(), moduleId, fmt, args, &record);
    va_end(args);
}

void DlogFlush(void)
{
    Fakes::RecordTimeline("log flush");
}

__attribute__((format(printf, 2, 3))) void syslog(int priority, const char* fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    Fakes::Record("syslog", priority, fmt, args);
    va_end(args);
}

// glibc's name for syslog in fortified builds, which is what the code under test calls.
// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming)
__attribute__((format(printf, 3, 4))) void __syslog_chk(int priority, int /*flag*/, const char* fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    Fakes::Record("syslog", priority, fmt, args);
    va_end(args);
}
}
