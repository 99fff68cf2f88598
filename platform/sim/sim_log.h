// The logging stand-in: a level threshold, a switch for run-log modules, journal lines for every
// record and a readable copy on the console for the records that pass.
#ifndef PLATFORM_SIM_SIM_LOG_H
#define PLATFORM_SIM_SIM_LOG_H

#include <ctime>
#include <string>
#include <string_view>

#include "platform/sim/sim_output.h"
#include "platform/sim/sim_settings.h"

namespace ProcMgr::Sim {

constexpr int RUN_LOG_MODULE_FLAG = 0x1000000;

struct LogSettings {
    int threshold = 1;   // PLATFORM_SIM_LOG_LEVEL: records at or above it pass
    bool runLog = true;  // PLATFORM_SIM_RUNLOG: false blocks every module with the run-log flag
};

LogSettings LoadLogSettings(const EnvLookup& env, const Reporter& report);

// "2026-11-23 08:10:01.123 INFO  mod=0x36 TEXT" in local time, TEXT escaped.
std::string ReadableLogLine(const timespec& when, int moduleId, int level, std::string_view text);

class SimLog {
public:
    SimLog(LogSettings logSettings, LineSink journalSink, LineSink consoleSink)
        : settings(logSettings), journal(std::move(journalSink)), console(std::move(consoleSink))
    {
    }

    bool Passes(int moduleId, int level) const;
    // Journals every record it is given; only records that pass reach the console.
    void Record(int moduleId, int level, std::string_view text) const;
    void Flush() const;

private:
    LogSettings settings;
    LineSink journal;
    LineSink console;
};

}  // namespace ProcMgr::Sim

#endif
