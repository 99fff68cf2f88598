#include "sensor_reporter/sensor_node_event_reporter.h"

#include <utility>

#include "platform/bounded_string.h"
#include "platform/tarsel_hal.h"
#include "sensor_reporter/reporter_syslog.h"

namespace ProcMgr {
namespace {
constexpr uint16_t OS_FAULT_NODE_TYPE = 0x0617;
// Application nodes share the node type but report their state, not a fault.
constexpr uint8_t APP_SENSOR_TYPE = 0x27;

// The bounded copy refuses names of 20 bytes or more: they would lose the terminating zero.
bool FillName(HalSensorNodeConfig& halConfig, const std::string& name)
{
    return memset_s(halConfig.name, sizeof(halConfig.name), 0, sizeof(halConfig.name)) == 0 &&
           strncpy_s(halConfig.name, sizeof(halConfig.name), name.data(), name.size()) == 0;
}

// Devices that refuse the node are left out and never retried; the others keep it.
std::map<uint32_t, uint64_t> RegisterOnDevices(const std::string& name, HalSensorNodeConfig& halConfig,
                                               const std::set<uint32_t>& reportIds)
{
    std::map<uint32_t, uint64_t> handles;
    for (const uint32_t devId : reportIds) {
        uint64_t handle = 0;
        const int ret = halSensorNodeRegister(devId, &halConfig, &handle);
        if (ret != 0) {
            syslog(REPORTER_FAILURE_PRIORITY, "SensorNodeEventReporter RegisterSensorNode for %s failed. (ret=%u)",
                   name.c_str(), static_cast<unsigned>(ret));
            continue;
        }
        handles.emplace(devId, handle);
    }
    return handles;
}
}  // namespace

bool SensorNodeEventReporter::RegisterSensorNode(const SensorNodeConfig& config)
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (sensorNodes.count(config.name) != 0) {
        return true;
    }
    HalSensorNodeConfig halConfig{};
    if (!FillName(halConfig, config.name)) {
        syslog(REPORTER_FAILURE_PRIORITY,
               "SensorNodeEventReporter RegisterSensorNode Copy sensor node name for %s failed.", config.name.c_str());
        return false;
    }
    halConfig.nodeType = config.nodeType;
    halConfig.sensorType = config.sensorType;
    const std::set<uint32_t> reportIds = GetReportIds(config.reportScope);

    SensorNodeRecord record;
    record.sensorType = config.sensorType;
    record.nodeType = config.nodeType;
    record.handles = RegisterOnDevices(config.name, halConfig, reportIds);
    syslog(
        REPORTER_SUCCESS_PRIORITY,
        "SensorNodeEventReporter RegisterSensorNode for %s success, nodeType=0x%x, sensorType=0x%x, reportIds size=%zu",
        config.name.c_str(), static_cast<unsigned>(config.nodeType), static_cast<unsigned>(config.sensorType),
        reportIds.size());
    sensorNodes.emplace(config.name, std::move(record));
    return true;
}

bool SensorNodeEventReporter::UnregisterSensorNode(const std::string& name)
{
    const std::lock_guard<std::mutex> lock(mutex);
    const auto node = sensorNodes.find(name);
    return node == sensorNodes.end() || RemoveNode(node);
}

bool SensorNodeEventReporter::UnregisterAllSensorNodes()
{
    const std::lock_guard<std::mutex> lock(mutex);
    bool allUnregistered = true;
    while (!sensorNodes.empty()) {
        allUnregistered = RemoveNode(sensorNodes.begin()) && allUnregistered;
    }
    return allUnregistered;
}

void SensorNodeEventReporter::ReportEvent(const std::string& name, int32_t event)
{
    const std::lock_guard<std::mutex> lock(mutex);
    const auto node = sensorNodes.find(name);
    if (node == sensorNodes.end() || node->second.lastEvent == event) {
        return;
    }
    SensorNodeRecord& record = node->second;
    // Taken before the HAL answers: a failed report is not repeated by the next equal event.
    record.lastEvent = event;
    const int32_t fault = GetFaultValue(record.sensorType, record.nodeType);
    for (const auto& [devId, handle] : record.handles) {
        const int ret = halSensorNodeUpdateState(devId, handle, fault, event);
        if (ret == 0) {
            syslog(REPORTER_SUCCESS_PRIORITY,
                   "SensorNodeEventReporter ReportEvent success.(nodeName=%s,id=%u,fault=%d,event=%d)", name.c_str(),
                   devId, fault, event);
        } else {
            syslog(REPORTER_FAILURE_PRIORITY,
                   "SensorNodeEventReporter ReportEvent failed.(nodeName=%s,id=%u,fault=%d,event=%d,ret=%u)",
                   name.c_str(), devId, fault, event, static_cast<unsigned>(ret));
        }
    }
}

std::set<uint32_t> SensorNodeEventReporter::GetReportIds(int32_t reportScope)
{
    if (reportScope > 0) {
        return {0};
    }
    // Asked once per process, whichever reporter asks first; every reporter shares the answer.
    static const uint32_t count = GetDeviceNum();
    std::set<uint32_t> reportIds;
    for (uint32_t devId = 0; devId < count; ++devId) {
        reportIds.insert(reportIds.end(), devId);
    }
    return reportIds;
}

bool SensorNodeEventReporter::RemoveNode(NodeMap::iterator node)
{
    bool allUnregistered = true;
    for (const auto& [devId, handle] : node->second.handles) {
        const int ret = halSensorNodeUnregister(devId, handle);
        if (ret != 0) {
            allUnregistered = false;
            syslog(REPORTER_FAILURE_PRIORITY,
                   "SensorNodeEventReporter UnregisterSensorNode for %s failed. (id=%u,ret=%u)", node->first.c_str(),
                   devId, static_cast<unsigned>(ret));
        }
    }
    sensorNodes.erase(node);
    return allUnregistered;
}

int32_t SensorNodeEventReporter::GetFaultValue(uint8_t sensorType, uint16_t nodeType)
{
    return nodeType == OS_FAULT_NODE_TYPE && sensorType != APP_SENSOR_TYPE ? 1 : 0;
}

}  // namespace ProcMgr
