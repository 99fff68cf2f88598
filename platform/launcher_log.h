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

// The callers' format and arguments travel as one argument list, so that a message without
// arguments needs no empty variadic list (which -Wpedantic rejects); these helpers split it into
// the format, which gets the "[%s:%d]" prefix, and the arguments, which follow file and line.
#define LAUNCHER_LOG_FORMAT(...) LAUNCHER_LOG_FORMAT_FIRST(__VA_ARGS__, unused)
#define LAUNCHER_LOG_FORMAT_FIRST(format, ...) format
#define LAUNCHER_LOG_ARGUMENTS(...) \
    LAUNCHER_LOG_JOIN(LAUNCHER_LOG_ARGUMENTS_, LAUNCHER_LOG_ARITY(__VA_ARGS__))(__VA_ARGS__)
#define LAUNCHER_LOG_ARGUMENTS_ONE(format)
#define LAUNCHER_LOG_ARGUMENTS_MANY(format, ...) , __VA_ARGS__
#define LAUNCHER_LOG_ARITY(...) \
    LAUNCHER_LOG_ARITY_PICK(__VA_ARGS__, MANY, MANY, MANY, MANY, MANY, MANY, MANY, MANY, MANY, ONE, unused)
#define LAUNCHER_LOG_ARITY_PICK(a1, a2, a3, a4, a5, a6, a7, a8, a9, a10, arity, ...) arity
#define LAUNCHER_LOG_JOIN(a, b) LAUNCHER_LOG_JOIN_NOW(a, b)
#define LAUNCHER_LOG_JOIN_NOW(a, b) a##b

// Writes without asking CheckLogLevel; for callers that asked already.
#define PROC_LAUNCHER_LOG_WRITE(moduleId, level, ...)                                                       \
    DlogRecord((moduleId), (level), "[%s:%d]" LAUNCHER_LOG_FORMAT(__VA_ARGS__), ::ProcMgr::LOG_SOURCE_FILE, \
               __LINE__ LAUNCHER_LOG_ARGUMENTS(__VA_ARGS__))

#define PROC_LAUNCHER_LOG(moduleId, level, ...)                        \
    do {                                                               \
        if (::ProcMgr::LogEnabled((moduleId), (level))) {              \
            PROC_LAUNCHER_LOG_WRITE((moduleId), (level), __VA_ARGS__); \
        }                                                              \
    } while (0)

// Each takes a format literal and up to nine arguments.
#define LAUNCHER_LOG_INFO(...) PROC_LAUNCHER_LOG(::ProcMgr::LOG_MODULE, ::ProcMgr::LOG_LEVEL_INFO, __VA_ARGS__)
#define LAUNCHER_RUNLOG_INFO(...) \
    PROC_LAUNCHER_LOG(::ProcMgr::LOG_MODULE_RUNLOG, ::ProcMgr::LOG_LEVEL_INFO, __VA_ARGS__)
#define LAUNCHER_LOG_ERROR(...) PROC_LAUNCHER_LOG(::ProcMgr::LOG_MODULE, ::ProcMgr::LOG_LEVEL_ERROR, __VA_ARGS__)

#endif
