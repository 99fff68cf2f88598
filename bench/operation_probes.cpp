#include "bench/operation_probes.h"

#include <cstdarg>
#include <cstdlib>
#include <fcntl.h>
#include <pthread.h>
#include <sys/types.h>

#include "bench/allocation_counter.h"

namespace ProcMgr::Bench {
namespace {
thread_local uint64_t locks = 0;
thread_local uint64_t fileOpens = 0;

// The mode argument of open and openat exists only when the flags create a file.
mode_t ModeArgument(int flags, va_list args)
{
    return (flags & (O_CREAT | O_TMPFILE)) != 0 ? static_cast<mode_t>(va_arg(args, unsigned)) : 0;
}
}  // namespace

OperationCounts OperationsOnThisThread()
{
    return {Probes::AllocationsOnThisThread(), locks, fileOpens};
}

OperationCounts OperationsSince(const OperationCounts& before)
{
    const OperationCounts now = OperationsOnThisThread();
    return {now.allocations - before.allocations, now.locks - before.locks, now.fileOpens - before.fileOpens};
}

}  // namespace ProcMgr::Bench

using ProcMgr::Bench::fileOpens;
using ProcMgr::Bench::locks;
using ProcMgr::Bench::ModeArgument;

// The linker's --wrap sends our code's calls here and the __real_ names to the C library.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)
extern "C" {
int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __real_open(const char* path, int flags, ...);
int __real_openat(int directory, const char* path, int flags, ...);
int __real_access(const char* path, int mode);

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex)
{
    ++locks;
    return __real_pthread_mutex_lock(mutex);
}

int __wrap_open(const char* path, int flags, ...)
{
    va_list args;
    va_start(args, flags);
    const mode_t mode = ModeArgument(flags, args);
    va_end(args);
    ++fileOpens;
    return __real_open(path, flags, mode);
}

int __wrap_openat(int directory, const char* path, int flags, ...)
{
    va_list args;
    va_start(args, flags);
    const mode_t mode = ModeArgument(flags, args);
    va_end(args);
    ++fileOpens;
    return __real_openat(directory, path, flags, mode);
}

int __wrap_access(const char* path, int mode)
{
    ++fileOpens;
    return __real_access(path, mode);
}
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)
