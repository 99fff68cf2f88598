// What the fuzz targets share: the stand-ins, quiet, and a way to report a broken invariant.
#ifndef FUZZ_FUZZ_SUPPORT_H
#define FUZZ_FUZZ_SUPPORT_H

#include <cstdio>
#include <cstdlib>

#include "platform/sim/control.h"

namespace FuzzSupport {

// Every log record is formatted, so that the sanitizers see each argument read, and none is kept.
inline const bool QUIET_PLATFORM = [] {
    ProcMgr::Sim::Settings settings;
    settings.journal = ProcMgr::Sim::JournalTo::NOWHERE;
    settings.logLevel = 0;
    ProcMgr::Sim::Apply(settings);
    return true;
}();

// Aborts with the message, so that libFuzzer records the input as a crash.
[[noreturn]] inline void Fail(const char* message)
{
    std::fprintf(stderr, "fuzz check failed: %s\n", message);
    std::abort();
}

}  // namespace FuzzSupport

#endif
