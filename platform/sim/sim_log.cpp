#include "platform/sim/sim_log.h"

namespace ProcMgr::Sim {

namespace {

constexpr int HIGHEST_THRESHOLD = 4;  // above every named level: nothing passes

const char* LevelName(int level)
{
    static constexpr const char* NAMES[] = {"DEBUG", "INFO", "WARN", "ERROR"};
    return level >= 0 && level <= 3 ? NAMES[level] : nullptr;
}

}  // namespace

LogSettings LoadLogSettings(const EnvLookup& env, const Reporter& report)
{
    LogSettings settings;
    settings.threshold = static_cast<int>(
        ReadInteger(env, "PLATFORM_SIM_LOG_LEVEL", settings.threshold, {0, HIGHEST_THRESHOLD}, report));
    settings.runLog = ReadInteger(env, "PLATFORM_SIM_RUNLOG", 1, {0, 1}, report) == 1;
    return settings;
}

std::string ReadableLogLine(const timespec& when, int moduleId, int level, std::string_view text)
{
    tm local{};
    localtime_r(&when.tv_sec, &local);
    char stamp[32];
    strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &local);
    const long millis = when.tv_nsec / 1000000;
    const char* name = LevelName(level);
    const std::string levelText = name != nullptr ? name : std::to_string(level);
    return Format("%s.%03ld %-5s mod=0x%x %s", stamp, millis, levelText.c_str(), static_cast<unsigned>(moduleId),
                  EscapeControl(text).c_str());
}

bool SimLog::Passes(int moduleId, int level) const
{
    const bool runLogModule = (static_cast<unsigned>(moduleId) & RUN_LOG_MODULE_FLAG) != 0;
    if (runLogModule && !settings.runLog) {
        return false;
    }
    return level >= settings.threshold;
}

void SimLog::Record(int moduleId, int level, std::string_view text) const
{
    journal.Write(Format("log %d 0x%x %s", level, static_cast<unsigned>(moduleId), EscapeControl(text).c_str()));
    if (Passes(moduleId, level)) {
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        console.Write(ReadableLogLine(now, moduleId, level, text));
    }
}

void SimLog::Flush() const
{
    journal.Write("log flush");
}

}  // namespace ProcMgr::Sim
