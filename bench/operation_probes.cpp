#include "bench/operation_probes.h"

#include <cstdarg>
#include <cstdlib>
#include <fcntl.h>
#include <new>
#include <pthread.h>
#include <sys/types.h>

namespace ProcMgr::Bench {
namespace {
thread_local OperationCounts counts;

// The mode argument of open and openat exists only when the flags create a file.
mode_t ModeArgument(int flags, va_list args)
{
    return (flags & (O_CREAT | O_TMPFILE)) != 0 ? static_cast<mode_t>(va_arg(args, unsigned)) : 0;
}
}  // namespace

OperationCounts OperationsOnThisThread()
{
    return counts;
}

OperationCounts OperationsSince(const OperationCounts& before)
{
    return {counts.allocations - before.allocations, counts.locks - before.locks, counts.fileOpens - before.fileOpens};
}

}  // namespace ProcMgr::Bench

using ProcMgr::Bench::counts;
using ProcMgr::Bench::ModeArgument;

// GCC takes the free() of these replacements for a mismatch with the new that it cannot see is ours.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif
void* operator new(size_t size)
{
    ++counts.allocations;
    if (void* memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void* operator new[](size_t size)
{
    return operator new(size);
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, size_t /*size*/) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, size_t /*size*/) noexcept
{
    std::free(memory);
}

// The linker's --wrap sends our code's calls here and the __real_ names to the C library.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)
extern "C" {
int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __real_open(const char* path, int flags, ...);
int __real_openat(int directory, const char* path, int flags, ...);
int __real_access(const char* path, int mode);

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex)
{
    ++counts.locks;
    return __real_pthread_mutex_lock(mutex);
}

int __wrap_open(const char* path, int flags, ...)
{
    va_list args;
    va_start(args, flags);
    const mode_t mode = ModeArgument(flags, args);
    va_end(args);
    ++counts.fileOpens;
    return __real_open(path, flags, mode);
}

int __wrap_openat(int directory, const char* path, int flags, ...)
{
    va_list args;
    va_start(args, flags);
    const mode_t mode = ModeArgument(flags, args);
    va_end(args);
    ++counts.fileOpens;
    return __real_openat(directory, path, flags, mode);
}

int __wrap_access(const char* path, int mode)
{
    ++counts.fileOpens;
    return __real_access(path, mode);
}
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)
