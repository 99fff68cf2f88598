#include <cstdarg>
#include <cstdio>

#include "platform/launcher_log.h"
#include "platform/slog.h"
#include "tests/fakes/fakes.h"
#include "tests/fakes/state.h"

namespace Fakes {
namespace {
struct LogState {
    LogSetup setup;
    std::vector<LogRecord> records;
    int checks = 0;
    int flushes = 0;
};
LogState& Log()
{
    static LogState state;
    return state;
}
}  // namespace

void ResetLogLocked()
{
    Log() = LogState{};
}

void SetLog(const LogSetup& setup)
{
    std::lock_guard<std::mutex> lock(FakeMutex());
    Log().setup = setup;
}

std::vector<LogRecord> LogRecords()
{
    std::lock_guard<std::mutex> lock(FakeMutex());
    return Log().records;
}

int CheckLogLevelCalls()
{
    std::lock_guard<std::mutex> lock(FakeMutex());
    return Log().checks;
}

int LogFlushCalls()
{
    std::lock_guard<std::mutex> lock(FakeMutex());
    return Log().flushes;
}

bool LogContains(const std::string& needle)
{
    for (const auto& record : LogRecords()) {
        if (record.text.find(needle) != std::string::npos) {
            return true;
        }
    }
    return false;
}

}  // namespace Fakes

extern "C" int CheckLogLevel(int moduleId, int level)
{
    std::lock_guard<std::mutex> lock(Fakes::FakeMutex());
    auto& log = Fakes::Log();
    ++log.checks;
    if ((moduleId & ProcMgr::LOG_RUNLOG_FLAG) != 0 && !log.setup.runLog) {
        return 0;
    }
    return level >= log.setup.minLevel ? 1 : 0;
}

extern "C" void DlogRecord(int moduleId, int level, const char* fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    const std::string text = Fakes::FormatText(fmt, args);
    va_end(args);

    std::lock_guard<std::mutex> lock(Fakes::FakeMutex());
    Fakes::Log().records.push_back(Fakes::LogRecord{moduleId, level, fmt, text});
    char module[16];
    snprintf(module, sizeof(module), "0x%x", static_cast<unsigned>(moduleId));
    Fakes::RecordTimelineLocked("log " + std::to_string(level) + " " + module + " " + text);
}

extern "C" void DlogFlush(void)
{
    std::lock_guard<std::mutex> lock(Fakes::FakeMutex());
    ++Fakes::Log().flushes;
    Fakes::RecordTimelineLocked("log flush");
}
