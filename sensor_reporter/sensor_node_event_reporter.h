// The registry of sensor nodes at the device HAL, and their fault events.
#ifndef SENSOR_REPORTER_SENSOR_NODE_EVENT_REPORTER_H
#define SENSOR_REPORTER_SENSOR_NODE_EVENT_REPORTER_H

#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <string>

namespace ProcMgr {

struct SensorNodeConfig {
    std::string name;  // at most 19 bytes: the HAL record keeps 20 with the terminating zero
    uint16_t nodeType = 0;
    uint8_t sensorType = 0;
    int32_t reportScope = 0;  // > 0: device 0 only; <= 0: every device
};

struct SensorNodeRecord {
    uint8_t sensorType = 0;
    uint16_t nodeType = 0;
    int32_t lastEvent = 0;
    std::map<uint32_t, uint64_t> handles;  // device id -> HAL handle, for each device that accepted the node
};

// Every public operation holds the reporter's own mutex for its whole run, so the main thread
// (memory reports, shut-down) and the state-change threads never touch the registry together.
// Callers that hold another lock take it before this one.
class SensorNodeEventReporter {
public:
    SensorNodeEventReporter() = default;
    SensorNodeEventReporter(const SensorNodeEventReporter&) = delete;
    SensorNodeEventReporter& operator=(const SensorNodeEventReporter&) = delete;

    // true when the node is registered, now or before (an existing node is left unchanged, even on
    // devices where the HAL refused it); false when the name does not fit the HAL record.
    bool RegisterSensorNode(const SensorNodeConfig& config);
    // false when a HAL unregistration failed; the node leaves the registry either way. true for
    // names that are not registered.
    bool UnregisterSensorNode(const std::string& name);
    // As UnregisterSensorNode for every node, in name order; afterwards the registry is empty.
    bool UnregisterAllSensorNodes();
    // Passes an event that differs from the node's last one to every device holding a handle.
    // Unknown names are ignored.
    void ReportEvent(const std::string& name, int32_t event);

private:
    using NodeMap = std::map<std::string, SensorNodeRecord>;

    static std::set<uint32_t> GetReportIds(int32_t reportScope);
    // The HAL's count (0 to 128), or 1 when the HAL fails or answers more than 128.
    static uint32_t GetDeviceNum();
    // Unregisters the node on each of its devices and drops it, also after a HAL failure.
    bool RemoveNode(NodeMap::iterator node);
    static int32_t GetFaultValue(uint8_t sensorType, uint16_t nodeType);

    NodeMap sensorNodes;
    std::mutex mutex;
};

}  // namespace ProcMgr

#endif
