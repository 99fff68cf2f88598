// Linking this library replaces the program's global operator new and delete with ones that count
// each allocation on the thread that makes it, so that a test or a benchmark can prove that a path
// allocates nothing.
#ifndef BENCH_ALLOCATION_COUNTER_H
#define BENCH_ALLOCATION_COUNTER_H

#include <cstdint>

namespace ProcMgr::Probes {

// Allocations made by the calling thread since it started; callers compare two readings.
uint64_t AllocationsOnThisThread();

}  // namespace ProcMgr::Probes

#endif
