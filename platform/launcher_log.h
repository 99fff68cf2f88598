// The daemon's log calls: gated by CheckLogLevel, written with DlogRecord, every format prefixed
// with "[%s:%d]" and filled with the daemon's one log source name and the line of the call.
#ifndef PLATFORM_LAUNCHER_LOG_H
#define PLATFORM_LAUNCHER_LOG_H

#include "platform/slog.h"

namespace ProcMgr {

constexpr int LOG_MODULE = 0x36;
constexpr int LOG_RUNLOG_FLAG = 0x1000000;
constexpr int LOG_MODULE_RUNLOG = LOG_MODULE | LOG_RUNLOG_FLAG;
constexpr int LOG_LEVEL_INFO = 1;
constexpr int LOG_LEVEL_ERROR = 3;
// Integrators grep the platform log by this name, whichever of our files writes the record.
constexpr const char* LOG_SOURCE_FILE = "proc_launcher.cpp";

inline bool LogEnabled(int moduleId, int level)
{
    return CheckLogLevel(moduleId, level) == 1;
}

}  // namespace ProcMgr

// Each macro expands in one step: GCC accepts the GNU comma swallowing of ##__VA_ARGS__ under
// -Wpedantic only when the empty argument list is not handed on to another macro.

// Writes without asking CheckLogLevel; for callers that asked already.
#define PROC_LAUNCHER_LOG_WRITE(moduleId, level, fmt, ...) \
    DlogRecord((moduleId), (level), "[%s:%d]" fmt, ::ProcMgr::LOG_SOURCE_FILE, __LINE__, ##__VA_ARGS__)

#define LAUNCHER_LOG_INFO(fmt, ...)                                                                         \
    do {                                                                                                    \
        if (::ProcMgr::LogEnabled(::ProcMgr::LOG_MODULE, ::ProcMgr::LOG_LEVEL_INFO)) {                      \
            DlogRecord(::ProcMgr::LOG_MODULE, ::ProcMgr::LOG_LEVEL_INFO, "[%s:%d]" fmt,                     \
                       ::ProcMgr::LOG_SOURCE_FILE, __LINE__, ##__VA_ARGS__);                                \
        }                                                                                                   \
    } while (0)

#define LAUNCHER_RUNLOG_INFO(fmt, ...)                                                                      \
    do {                                                                                                    \
        if (::ProcMgr::LogEnabled(::ProcMgr::LOG_MODULE_RUNLOG, ::ProcMgr::LOG_LEVEL_INFO)) {               \
            DlogRecord(::ProcMgr::LOG_MODULE_RUNLOG, ::ProcMgr::LOG_LEVEL_INFO, "[%s:%d]" fmt,              \
                       ::ProcMgr::LOG_SOURCE_FILE, __LINE__, ##__VA_ARGS__);                                \
        }                                                                                                   \
    } while (0)

#define LAUNCHER_LOG_ERROR(fmt, ...)                                                                        \
    do {                                                                                                    \
        if (::ProcMgr::LogEnabled(::ProcMgr::LOG_MODULE, ::ProcMgr::LOG_LEVEL_ERROR)) {                     \
            DlogRecord(::ProcMgr::LOG_MODULE, ::ProcMgr::LOG_LEVEL_ERROR, "[%s:%d]" fmt,                    \
                       ::ProcMgr::LOG_SOURCE_FILE, __LINE__, ##__VA_ARGS__);                                \
        }                                                                                                   \
    } while (0)

#endif
