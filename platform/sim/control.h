// In-process control of the platform stand-ins, for unit tests and benchmarks: the settings that
// the PLATFORM_SIM_* variables give a daemon, and the journal as lines. A process that never calls
// Apply runs on its environment's settings, read once.
#ifndef PLATFORM_SIM_CONTROL_H
#define PLATFORM_SIM_CONTROL_H

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/group_owner.h"

// The stand-ins export only what the platform libraries and this header declare.
#define SIM_EXPORT __attribute__((visibility("default")))

namespace ProcMgr::Sim {

enum class HalCall { REGISTER, UPDATE, UNREGISTER };

enum class JournalTo {
    MEMORY,   // kept for JournalLines(); nothing on stderr
    STDERR,   // after "sim: ", log records in readable form instead
    FILE,     // appended to journalPath; log records also readable on stderr
    NOWHERE,  // for benchmarks, which must not pay for the journal
};

struct Settings {
    JournalTo journal = JournalTo::MEMORY;
    std::string journalPath;
    int logLevel = 1;    // CheckLogLevel answers 1 for levels at or above it
    bool runLog = true;  // false: it answers 0 for every module carrying the run-log flag
    uint32_t halDevices = 1;
    int halDevNumResult = 0;
    uint32_t halLatencyMicroseconds = 0;                 // how long each HAL call takes
    std::set<std::pair<HalCall, uint32_t>> halFailures;  // these calls answer 7 on that device
    int configureResult = 0;
    int startResult = 0;
    std::map<std::string, AppSensorConfig> apps;  // GetAppSensorConfig answers 1 for any other name
    std::map<std::string, int> restartResults;    // RestartApp answers 0 for any other name
    std::string scriptPath;                       // played from the first RegisterAppStateCallback on
    int64_t ezcomBusyCalls = 0;                   // per function, its first N calls answer busy; negative: all of them
};

// Stops a script being played, forgets the service's callback, replaces every setting, empties the
// journal and starts HAL handles at 1 and the messaging call counts at 0 again.
SIM_EXPORT void Apply(const Settings& settings);
// Apply(Settings{}): a memory journal and every default.
SIM_EXPORT void Reset();
SIM_EXPORT std::vector<std::string> JournalLines();
// HAL calls since Apply that began while another was still running: the daemon serialises its own.
SIM_EXPORT uint64_t OverlappingHalCalls();
// Delivers a state change through the callback the service holds, as a script does, and journals
// the answer: false also while no callback is registered.
SIM_EXPORT bool DeliverStateChange(const std::string& appName, int pid, int32_t state);

}  // namespace ProcMgr::Sim

#endif
