// The OS memory monitor: which NUMA nodes the OS manages, their free memory, and the shortage
// detector that turns the sum into events on the "os-memory" sensor node.
#ifndef MEMORY_MONITOR_MEMORY_MONITOR_H
#define MEMORY_MONITOR_MEMORY_MONITOR_H

#include <chrono>
#include <cstdint>
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

// The ids of one kernel node-list item ("3", "0-3", with any blanks or line break as cut from the
// file). Never fails: a malformed item is logged and yields the ids gathered before the failure.
std::vector<int32_t> GetNumaNodeList(std::string_view item);

// The ids of every item of a node-list file; empty when the file cannot be read.
NumaNodeSet GetHasMemoryNumaNodes(const std::string& path);

// Replaces nodes with the OS-managed nodes (CDM nodes excluded) and returns true; returns false,
// leaving nodes unchanged, only when the CDM node list exists but cannot be opened.
bool GetOsManagedNumaNodes(NumaNodeSet& nodes, std::string_view sysfsDir = SYSFS_NODE_DIR);

// Writes the node's MemFree in KB to freeKb and returns true; on failure returns false and leaves
// freeKb unwritten.
bool GetNumaNodeFreeMemory(int32_t nodeId, uint64_t& freeKb, std::string_view sysfsDir = SYSFS_NODE_DIR);

// Once per 60 s sums the free memory of the OS-managed nodes and reports a shortage (event 1)
// below 16384 KB, its end (event 0) above 32768 KB, and nothing in between.
class MemoryShortageDetector {
public:
    using Clock = std::chrono::steady_clock;
    using ClockFunction = Clock::time_point (*)();

    explicit MemoryShortageDetector(std::string_view nodeDir = SYSFS_NODE_DIR, ClockFunction clock = &Clock::now);

    // Called on every loop tick; the first call only starts the period. A tick on which no check
    // is due reads the clock once and compares once.
    void Check(SensorNodeEventReporter& reporter);

private:
    void RunDueCheck(SensorNodeEventReporter& reporter);

    std::string sysfsDir;
    ClockFunction now;
    Clock::time_point lastCheck{};
    bool started = false;
    bool disabled = false;
    NumaNodeSet osNodes;
};

}  // namespace ProcMgr

#endif
