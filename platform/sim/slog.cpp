// Stand-in for the platform's logging library.
#include "platform/slog.h"

#include <cstdarg>
#include <ctime>

#include "platform/sim/sim_export.h"
#include "platform/sim/sim_log.h"

namespace {

const ProcMgr::Sim::SimLog& Log()
{
    using namespace ProcMgr::Sim;
    static const SimLog log(LoadLogSettings(ProcessEnvironment(), StderrReporter()), ProcessJournal(), StderrPlain());
    return log;
}

}  // namespace

extern "C" SIM_EXPORT int CheckLogLevel(int moduleId, int level)
{
    return Log().Passes(moduleId, level) ? 1 : 0;
}

extern "C" SIM_EXPORT void DlogRecord(int moduleId, int level, const char* fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    const std::string text = ProcMgr::Sim::FormatV(fmt, args);
    va_end(args);
    Log().Record(moduleId, level, text);
}

extern "C" SIM_EXPORT void DlogFlush()
{
    Log().Flush();
}
