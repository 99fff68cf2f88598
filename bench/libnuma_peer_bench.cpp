// The same read of node 0 by a well-known peer: libnuma's numa_node_size64, which parses the same
// meminfo file. Built only where libnuma is installed; the daemon never links it.
#include <benchmark/benchmark.h>
#include <cstdint>
#include <cstdlib>
#include <numa.h>

#include "memory_monitor/memory_monitor.h"

namespace ProcMgr::Bench {
namespace {

constexpr long long BYTES_PER_KB = 1024;
// Free memory moves between two reads; more than this apart means one of the readers is wrong.
constexpr long long AGREEMENT_KB = 64LL * 1024;

void NodeZeroFreeMemoryLibnuma(benchmark::State& state)
{
    long long freeBytes = 0;
    uint64_t oursKb = 0;
    if (numa_node_size64(0, &freeBytes) < 0 || !GetNumaNodeFreeMemory(0, oursKb)) {
        state.SkipWithError("node 0 of this machine has no readable meminfo");
        return;
    }
    if (std::llabs(freeBytes / BYTES_PER_KB - static_cast<long long>(oursKb)) > AGREEMENT_KB) {
        state.SkipWithError("libnuma and the daemon disagree on the free memory of node 0");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(numa_node_size64(0, &freeBytes));
    }
    state.counters["free_kb"] = static_cast<double>(freeBytes) / BYTES_PER_KB;
}
BENCHMARK(NodeZeroFreeMemoryLibnuma);

}  // namespace
}  // namespace ProcMgr::Bench
