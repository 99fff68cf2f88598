#include "bench/allocation_counter.h"

#include <cstdlib>
#include <new>

namespace ProcMgr::Probes {
namespace {
thread_local uint64_t allocations = 0;
}  // namespace

uint64_t AllocationsOnThisThread()
{
    return allocations;
}

}  // namespace ProcMgr::Probes

// GCC takes the free() of these replacements for a mismatch with the new that it cannot see is ours.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif
void* operator new(size_t size)
{
    ++ProcMgr::Probes::allocations;
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
