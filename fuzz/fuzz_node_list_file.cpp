// A node-list file: the reader must find the ids of the items that a split of the bytes in memory
// gives, whatever chunk boundaries fall inside them.
#include <string>
#include <string_view>

#include "fuzz/fuzz_support.h"
#include "memory_monitor/memory_monitor.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string path = FuzzSupport::WriteScratchFile("has_memory", data, size);
    const ProcMgr::NumaNodeSet nodes = ProcMgr::GetHasMemoryNumaNodes(path);

    ProcMgr::NumaNodeSet expected;
    FuzzSupport::ForEachRecord({reinterpret_cast<const char*>(data), size}, ',', [&](std::string_view item) {
        for (const int32_t id : ProcMgr::GetNumaNodeList(item)) {
            expected.insert(id);
        }
    });
    if (nodes != expected) {
        FuzzSupport::Fail("file reader and in-memory split disagree");
    }
    return 0;
}
