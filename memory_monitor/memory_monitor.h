// The OS memory monitor: which NUMA nodes the OS manages, their free memory, and the shortage
// detector that turns the sum into events on the "os-memory" sensor node.
#ifndef MEMORY_MONITOR_MEMORY_MONITOR_H
#define MEMORY_MONITOR_MEMORY_MONITOR_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "sensor_reporter/sensor_node_event_reporter.h"

namespace ProcMgr {

using NumaNodeSet = std::set<int32_t>;

// The sensor node of the OS memory, registered by the launcher and reported on by the detector.
extern const std::string OS_MEMORY_NODE_NAME;

inline constexpr std::string_view SYSFS_NODE_DIR = "/sys/devices/system/node";

// A sysfs file holds at most one page, and 64 KiB is the largest arm64 page: a longer file is not
// sysfs text, and reading it on would let a link to an endless file stall the daemon.
inline constexpr size_t MAX_SYSFS_FILE_BYTES = 65536;

// The kernel never has more nodes; it bounds a range item, the items of one node-list read and the
// ids it keeps.
inline constexpr size_t MAX_NUMA_NODES = 1024;

// The whole text of a sysfs file, without waiting on a FIFO (one without writer reads as empty).
// Empty when the path cannot be opened or is a directory; throws a std::exception whose what() is
// the failure when reading fails or the file is larger than MAX_SYSFS_FILE_BYTES.
std::optional<std::string> ReadSysfsFile(const std::string& path);

// The ids of one kernel node-list item ("3", "0-3", with any blanks or line break as cut from the
// file). Never fails: a malformed item is logged and yields no id.
std::vector<int32_t> GetNumaNodeList(const std::string& item);

// Adds the ids of the ","-separated items of a node-list text to ids; returns false when it dropped
// items or ids beyond MAX_NUMA_NODES of either. Throws the allocator's failure when an item cannot
// be held; the ids added before stay.
bool ParseNodeList(const std::string& text, NumaNodeSet& ids);

// The ids of every item of a node-list file; empty when the file cannot be read.
NumaNodeSet GetHasMemoryNumaNodes(const std::string& path);

// Replaces nodes with the OS-managed nodes (CDM nodes excluded) and returns true; returns false,
// leaving nodes unchanged, only when the CDM node list exists but cannot be opened.
bool GetOsManagedNumaNodes(NumaNodeSet& nodes, std::string_view sysfsDir = SYSFS_NODE_DIR);

inline constexpr uint64_t NO_FREE_SIZE = UINT64_MAX;

// The value of the last "MemFree:" line of a node's meminfo text, or NO_FREE_SIZE when no line has
// one. Empty, after logging the line, at the first line whose "kB" does not follow the key; throws
// std::logic_error ("stoul") on a number that does not convert, and the allocator's failure when a
// line cannot be held.
std::optional<uint64_t> ParseMemFree(const std::string& text);

// Writes the node's MemFree in KB to freeKb and returns true; on failure returns false and leaves
// freeKb unwritten.
bool GetNumaNodeFreeMemory(int32_t nodeId, uint64_t& freeKb, std::string_view sysfsDir = SYSFS_NODE_DIR);

// Once per 60 s sums the free memory of the OS-managed nodes and reports a shortage (event 1)
// below 16384 KB, its end (event 0) above 32768 KB, and nothing in between.
class MemoryShortageDetector {
public:
    using Clock = std::chrono::steady_clock;
    using ClockFunction = Clock::time_point (*)();
    using StopTest = bool (*)();

    // A due check is abandoned between two nodes once stopTest answers true, so that hostile sysfs
    // files cannot hold up the daemon's stop.
    explicit MemoryShortageDetector(
        std::string_view nodeDir = SYSFS_NODE_DIR, ClockFunction clock = &Clock::now,
        StopTest stopTest = [] { return false; });

    // Called on every loop tick; the first call only starts the period. A tick on which no check
    // is due reads the clock once and compares once.
    void Check(SensorNodeEventReporter& reporter);

private:
    void RunDueCheck(SensorNodeEventReporter& reporter);
    std::optional<uint64_t> SumFreeMemory() const;

    std::string sysfsDir;
    ClockFunction now;
    StopTest stopRequested;
    Clock::time_point lastCheck{};
    bool started = false;
    bool disabled = false;
    NumaNodeSet osNodes;
};

}  // namespace ProcMgr

#endif
