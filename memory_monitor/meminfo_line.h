// What one line of a node's meminfo file says about its free memory.
#ifndef MEMORY_MONITOR_MEMINFO_LINE_H
#define MEMORY_MONITOR_MEMINFO_LINE_H

#include <cstdint>
#include <string_view>

namespace ProcMgr {

enum class MemFreeLine {
    NOT_MEM_FREE,  // no "MemFree:" key, or no "kB" anywhere in the line
    INVALID,       // the first "kB" does not lie beyond the end of the key
    BAD_NUMBER,    // no leading number between key and unit, or one beyond 64 bits
    VALUE,         // freeKb holds the number
};

inline constexpr const char* MEM_FREE_CONVERSION_FAILURE = "stoul";

// Reads the number between the first "MemFree:" and the first "kB" of the line. freeKb is written
// only for VALUE.
MemFreeLine ParseMemFreeLine(std::string_view line, uint64_t& freeKb);

}  // namespace ProcMgr

#endif
