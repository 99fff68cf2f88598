// A node's meminfo file: the reader's verdict must match its line parser applied to a split of the
// bytes in memory.
#include <cstdint>
#include <limits>
#include <string_view>

#include "fuzz/fuzz_support.h"
#include "memory_monitor/meminfo_line.h"
#include "memory_monitor/memory_monitor.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzSupport::WriteScratchFile("node0/meminfo", data, size);
    uint64_t freeKb = 0;
    const bool read = ProcMgr::GetNumaNodeFreeMemory(0, freeKb, FuzzSupport::ScratchDir());

    constexpr uint64_t NO_VALUE = std::numeric_limits<uint64_t>::max();
    uint64_t found = NO_VALUE;
    bool badNumber = false;
    const auto takeLine = [&](std::string_view line) {
        uint64_t value = 0;
        const ProcMgr::MemFreeLine kind =
            badNumber ? ProcMgr::MemFreeLine::NOT_MEM_FREE : ProcMgr::ParseMemFreeLine(line, value);
        badNumber = badNumber || kind == ProcMgr::MemFreeLine::BAD_NUMBER;
        if (kind == ProcMgr::MemFreeLine::VALUE) {
            found = value;
        }
    };
    const bool whole = FuzzSupport::ForEachRecord({reinterpret_cast<const char*>(data), size}, '\n', takeLine);
    const bool expectedRead = whole && !badNumber && found != NO_VALUE;
    if (read != expectedRead || (read && freeKb != found)) {
        FuzzSupport::Fail("file reader and in-memory parse disagree");
    }
    return 0;
}
