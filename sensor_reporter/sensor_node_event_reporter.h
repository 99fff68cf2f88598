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

// The number of devices, asked of the HAL once, by the first registration that needs every device.
// The daemon shares one per process (ProcessDeviceCount); tests make their own.
class DeviceCount {
public:
    // The HAL's count (0 to 128), or 1 when the HAL fails or answers more than 128.
    uint32_t Get();

private:
    static uint32_t Query();

    std::once_flag queried;
    uint32_t count = 1;
};

DeviceCount& ProcessDeviceCount();

// Every public operation holds the reporter's own mutex for its whole run, so the main thread
// (memory reports, shut-down) and the state-change threads never touch the registry together.
// Callers that hold another lock take it before this one.
class SensorNodeEventReporter {
public:
    SensorNodeEventReporter();
    // The device count is borrowed and must outlive the reporter.
    explicit SensorNodeEventReporter(DeviceCount& sharedCount);
    SensorNodeEventReporter(const SensorNodeEventReporter&) = delete;
    SensorNodeEventReporter& operator=(const SensorNodeEventReporter&) = delete;

    // true when the node is registered, now or before (an existing node is left unchanged, even on
    // devices where the HAL refused it); false when the name does not fit the HAL record, or once
    // UnregisterAllSensorNodes has closed the registry.
    bool RegisterSensorNode(const SensorNodeConfig& config);
    // false when a HAL unregistration failed; the node leaves the registry either way. true for
    // names that are not registered.
    bool UnregisterSensorNode(const std::string& name);
    // As UnregisterSensorNode for every node, in name order; afterwards the registry is empty and
    // refuses registrations.
    bool UnregisterAllSensorNodes();
    // Passes an event that differs from the node's last one to every device holding a handle.
    // Unknown names are ignored.
    void ReportEvent(const std::string& name, int32_t event);

private:
    using NodeMap = std::map<std::string, SensorNodeRecord>;

    std::set<uint32_t> GetReportIds(int32_t reportScope);
    // Unregisters the node on each of its devices and drops it, also after a HAL failure.
    bool RemoveNode(NodeMap::iterator node);
    static int32_t GetFaultValue(uint8_t sensorType, uint16_t nodeType);

    NodeMap sensorNodes;
    bool closed = false;  // set by UnregisterAllSensorNodes, for the rest of the reporter's life
    std::mutex mutex;
    DeviceCount* deviceCount;
};

}  // namespace ProcMgr

#endif
