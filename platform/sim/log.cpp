// Stand-in for the logging library: a level threshold and a switch for run-log modules. Every record
// is journaled; a daemon's records that pass also appear on stderr in readable form.
#include <cstdarg>
#include <ctime>
#include <unistd.h>

#include "platform/sim/sim.h"
#include "platform/slog.h"

namespace {

using ProcMgr::Sim::JournalTo;
using ProcMgr::Sim::Platform;

constexpr unsigned RUN_LOG_FLAG = 0x1000000;

bool Passes(const ProcMgr::Sim::Settings& settings, int moduleId, int level)
{
    const bool runLogModule = (static_cast<unsigned>(moduleId) & RUN_LOG_FLAG) != 0;
    return (settings.runLog || !runLogModule) && level >= settings.logLevel;
}

// "2026-11-23 08:10:01.123 INFO  mod=0x36 TEXT" in local time.
std::string Readable(int moduleId, int level, const std::string& text)
{
    static constexpr const char* LEVEL_NAMES[] = {"DEBUG", "INFO", "WARN", "ERROR"};
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    char stamp[32];
    strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &local);
    const std::string levelName = level >= 0 && level <= 3 ? LEVEL_NAMES[level] : std::to_string(level);
    char head[96];
    snprintf(head, sizeof head, "%s.%03ld %-5s mod=0x%x ", stamp, now.tv_nsec / 1000000, levelName.c_str(),
             static_cast<unsigned>(moduleId));
    return head + ProcMgr::Sim::Escaped(text);
}

}  // namespace

extern "C" SIM_EXPORT int CheckLogLevel(int moduleId, int level)
{
    return ProcMgr::Sim::Locked([&](const Platform& platform) { return Passes(platform.settings, moduleId, level); })
               ? 1
               : 0;
}

extern "C" SIM_EXPORT void DlogRecord(int moduleId, int level, const char* fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    const std::string text = ProcMgr::Sim::FormatV(fmt, args);
    va_end(args);
    const auto [to, passes] = ProcMgr::Sim::Locked([&](const Platform& platform) {
        return std::pair(platform.settings.journal, Passes(platform.settings, moduleId, level));
    });
    // On stderr a record appears once, in its readable form.
    if (to != JournalTo::STDERR) {
        ProcMgr::Sim::Journal("log %d 0x%x %s", level, static_cast<unsigned>(moduleId),
                              ProcMgr::Sim::Escaped(text).c_str());
    }
    if (passes && (to == JournalTo::STDERR || to == JournalTo::FILE)) {
        ProcMgr::Sim::WriteLine(STDERR_FILENO, Readable(moduleId, level, text));
    }
}

extern "C" SIM_EXPORT void DlogFlush()
{
    ProcMgr::Sim::Journal("log flush");
}
