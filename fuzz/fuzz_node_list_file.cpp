// A node-list text: whatever the bytes, the set keeps at most the kernel's number of nodes.
#include <cstdint>
#include <string>

#include "fuzz/fuzz_support.h"
#include "memory_monitor/memory_monitor.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    ProcMgr::NumaNodeSet ids;
    (void)ProcMgr::ParseNodeList({reinterpret_cast<const char*>(data), size}, ids);
    if (ids.size() > ProcMgr::MAX_NUMA_NODES) {
        __builtin_trap();  // the bound failed: libFuzzer keeps the input as a crash
    }
    return 0;
}
