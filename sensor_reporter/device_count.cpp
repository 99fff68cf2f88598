#include "platform/tarsel_hal.h"
#include "sensor_reporter/reporter_syslog.h"
#include "sensor_reporter/sensor_node_event_reporter.h"

namespace ProcMgr {
namespace {
// A larger answer is taken for a HAL fault rather than a machine.
constexpr uint32_t MAX_DEVICE_COUNT = 128;
// With an unusable answer the process still serves device 0.
constexpr uint32_t FALLBACK_DEVICE_COUNT = 1;
}  // namespace

uint32_t SensorNodeEventReporter::GetDeviceNum()
{
    uint32_t devNum = 0;
    const int ret = drvGetDevNum(&devNum);
    if (ret == 0 && devNum <= MAX_DEVICE_COUNT) {
        syslog(REPORTER_SUCCESS_PRIORITY, "SensorNodeEventReporter GetDeviceNum success. devNum=%u", devNum);
        return devNum;
    }
    syslog(REPORTER_FAILURE_PRIORITY, "SensorNodeEventReporter GetDeviceNum fail. drvRet=%d, devNum=%u", ret, devNum);
    return FALLBACK_DEVICE_COUNT;
}

}  // namespace ProcMgr
