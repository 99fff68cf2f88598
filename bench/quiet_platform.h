// The stand-ins as the benchmarks see them: no log record enabled (a board that logs failures
// only) and, unless a benchmark checks its HAL calls, no journal: a benchmark times our code, not
// the stand-ins' bookkeeping.
#ifndef BENCH_QUIET_PLATFORM_H
#define BENCH_QUIET_PLATFORM_H

#include <algorithm>
#include <string>
#include <vector>

#include "platform/sim/control.h"

namespace ProcMgr::Bench {

inline Sim::Settings QuietSettings(Sim::JournalTo journal = Sim::JournalTo::NOWHERE)
{
    Sim::Settings settings;
    settings.journal = journal;
    settings.logLevel = 4;
    return settings;
}

// Every benchmark executable starts quiet.
inline const bool QUIET_FROM_THE_START = [] {
    Sim::Apply(QuietSettings());
    return true;
}();

// Journal lines that start with prefix.
inline size_t JournalCount(const std::string& prefix)
{
    const std::vector<std::string> lines = Sim::JournalLines();
    return static_cast<size_t>(
        std::count_if(lines.begin(), lines.end(), [&](const std::string& line) { return line.rfind(prefix, 0) == 0; }));
}

}  // namespace ProcMgr::Bench

#endif
