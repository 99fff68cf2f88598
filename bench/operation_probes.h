// Counts, per thread, the operations that the daemon's idle tick must not make: heap allocations,
// mutex locks and file opens. The executable is linked with --wrap for pthread_mutex_lock, open,
// openat and access, so the locks and opens of our own code are seen; those made inside shared
// libraries are not. Allocations are counted wherever they happen.
#ifndef BENCH_OPERATION_PROBES_H
#define BENCH_OPERATION_PROBES_H

#include <cstdint>

namespace ProcMgr::Bench {

struct OperationCounts {
    uint64_t allocations = 0;
    uint64_t locks = 0;
    uint64_t fileOpens = 0;
};

OperationCounts OperationsOnThisThread();

// The operations made since before was taken.
OperationCounts OperationsSince(const OperationCounts& before);

}  // namespace ProcMgr::Bench

#endif
