// Stand-in for the device HAL: the device count and the failures as set, and handles 1, 2, 3, ...
// for the registrations that succeed.
#include <atomic>
#include <chrono>
#include <cinttypes>
#include <cstring>
#include <thread>

#include "platform/sim/sim.h"
#include "platform/tarsel_hal.h"

namespace {

using ProcMgr::Sim::HalCall;
using ProcMgr::Sim::Journal;
using ProcMgr::Sim::Locked;
using ProcMgr::Sim::Platform;

constexpr int HAL_INJECTED_FAILURE = 7;
constexpr int HAL_INVALID_ARGUMENT = 22;

// Marks a HAL call as running, and counts it when another call was running already.
class CallScope {
public:
    CallScope()
    {
        if (inFlight.fetch_add(1) != 0) {
            Locked([](Platform& platform) { ++platform.overlappingHalCalls; });
        }
        // A device takes its time, and other threads run meanwhile: a call the daemon does not
        // serialise then overlaps another.
        const uint32_t latency =
            Locked([](const Platform& platform) { return platform.settings.halLatencyMicroseconds; });
        if (latency > 0) {
            std::this_thread::sleep_for(std::chrono::microseconds(latency));
        }
    }
    ~CallScope() { inFlight.fetch_sub(1); }
    CallScope(const CallScope&) = delete;
    CallScope& operator=(const CallScope&) = delete;

private:
    static inline std::atomic<int> inFlight{0};
};

int Result(HalCall call, uint32_t devId)
{
    return Locked([&](const Platform& platform) {
               return platform.settings.halFailures.count({call, devId});
           }) != 0
               ? HAL_INJECTED_FAILURE
               : 0;
}

}  // namespace

extern "C" SIM_EXPORT int drvGetDevNum(uint32_t* devNum)
{
    const CallScope call;
    const auto [result, devices] = Locked([](const Platform& platform) {
        return std::pair(platform.settings.halDevNumResult, platform.settings.halDevices);
    });
    if (devNum != nullptr) {
        *devNum = devices;
    }
    const int answer = devNum != nullptr ? result : HAL_INVALID_ARGUMENT;
    Journal("hal devnum ret=%d count=%" PRIu32, answer, devices);
    return answer;
}

// The platform declares the record non-const, and the definition must match the declaration.
// cppcheck-suppress constParameter
extern "C" SIM_EXPORT int halSensorNodeRegister(uint32_t devId, HalSensorNodeConfig* config, uint64_t* handle)
{
    const CallScope call;
    HalSensorNodeConfig shown{};
    int result = HAL_INVALID_ARGUMENT;
    uint64_t given = 0;
    if (config != nullptr && handle != nullptr) {
        shown = *config;
        result = Result(HalCall::REGISTER, devId);
        if (result == 0) {
            given = Locked([](Platform& platform) { return platform.nextHandle++; });
            *handle = given;
        }
    }
    // The HAL reads the name up to its first zero byte, never past the field.
    const std::string_view name(shown.name, strnlen(shown.name, HAL_SENSOR_NODE_NAME_SIZE));
    Journal("hal register dev=%" PRIu32 " name=%s nodeType=0x%04x sensorType=0x%02x ret=%d handle=%" PRIu64, devId,
            ProcMgr::Sim::Escaped(name).c_str(), static_cast<unsigned>(shown.nodeType),
            static_cast<unsigned>(shown.sensorType), result, given);
    return result;
}

extern "C" SIM_EXPORT int halSensorNodeUnregister(uint32_t devId, uint64_t handle)
{
    const CallScope call;
    const int result = Result(HalCall::UNREGISTER, devId);
    Journal("hal unregister dev=%" PRIu32 " handle=%" PRIu64 " ret=%d", devId, handle, result);
    return result;
}

extern "C" SIM_EXPORT int halSensorNodeUpdateState(uint32_t devId, uint64_t handle, int32_t fault, int32_t event)
{
    const CallScope call;
    const int result = Result(HalCall::UPDATE, devId);
    Journal("hal update dev=%" PRIu32 " handle=%" PRIu64 " fault=%" PRId32 " event=%" PRId32 " ret=%d", devId, handle,
            fault, event, result);
    return result;
}
