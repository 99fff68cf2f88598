// What the fuzz targets share: the stand-ins, quiet.
#ifndef FUZZ_FUZZ_SUPPORT_H
#define FUZZ_FUZZ_SUPPORT_H

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

}  // namespace FuzzSupport

#endif
