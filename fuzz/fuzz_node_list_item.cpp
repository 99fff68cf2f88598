// One node-list item: a range must be bounded and rise by one.
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "memory_monitor/memory_monitor.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::vector<int32_t> ids = ProcMgr::GetNumaNodeList({reinterpret_cast<const char*>(data), size});
    if (ids.size() > ProcMgr::MAX_NUMA_NODES) {
        FuzzSupport::Fail("range expanded beyond the bound");
    }
    for (size_t index = 1; index < ids.size(); ++index) {
        if (int64_t{ids[index]} != int64_t{ids[index - 1]} + 1) {
            FuzzSupport::Fail("range does not rise by one");
        }
    }
    return 0;
}
