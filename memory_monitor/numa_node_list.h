// The parts of node-list parsing that the readers share.
#ifndef MEMORY_MONITOR_NUMA_NODE_LIST_H
#define MEMORY_MONITOR_NUMA_NODE_LIST_H

#include <cstdint>
#include <string>
#include <vector>

#include "memory_monitor/memory_monitor.h"
#include "memory_monitor/record_file.h"

namespace ProcMgr {

// Kernel node lists hold a few small ids; a wider range is refused rather than expanded.
inline constexpr int64_t MAX_RANGE_IDS = 4096;

inline constexpr const char* CONVERSION_FAILURE = "stoi";
inline constexpr const char* RANGE_TOO_WIDE = "range wider than 4096 ids";

// Appends the ids of one item to ids, without logging. Returns the failure detail, or nullptr for
// an item that parsed or that is skipped silently (misplaced "-", reversed range).
const char* AppendNodeListIds(std::string_view item, std::vector<int32_t>& ids);

// Adds every id of every ","-separated item of an opened file to ids. Returns the failure detail of
// the read, or an empty text.
std::string ReadNodeListItems(RecordFile& file, NumaNodeSet& ids);

}  // namespace ProcMgr

#endif
