// The platform as the benchmarks see it: every call succeeds at once and is only counted, so that
// a benchmark times our code and not a platform library. The log answers "not enabled" (a board
// that logs failures only), the HAL accepts every node, syslog formats its message and drops it,
// and the group-owner service gives every application a node on device 0 and accepts every restart.
#ifndef BENCH_COUNTING_PLATFORM_H
#define BENCH_COUNTING_PLATFORM_H

#include <cstdint>

namespace ProcMgr::Bench {

// Counted per thread: a benchmark thread sees exactly the calls that it caused.
struct PlatformCalls {
    uint64_t halRegistrations = 0;
    uint64_t halUnregistrations = 0;
    uint64_t halUpdates = 0;
    uint64_t syslogMessages = 0;
    uint64_t restarts = 0;
};

PlatformCalls CallsOnThisThread();

// The device count that drvGetDevNum answers from now on; 1 until set.
void SetDeviceCount(uint32_t count);

}  // namespace ProcMgr::Bench

#endif
