#include <cstring>

#include "platform/tarsel_hal.h"
#include "tests/fakes/fakes.h"
#include "tests/fakes/state.h"

namespace Fakes {
namespace {
struct HalState {
    HalSetup setup;
    std::vector<HalCall> calls;
    uint64_t nextHandle = 1;
};
HalState& Hal()
{
    static HalState state;
    return state;
}

int FailureFor(const std::string& op, uint32_t dev)
{
    const auto& failures = Hal().setup.failures;
    const auto found = failures.find(op + "@" + std::to_string(dev));
    return found == failures.end() ? 0 : found->second;
}
}  // namespace

void ResetHalLocked()
{
    Hal() = HalState{};
}

void SetHal(const HalSetup& setup)
{
    std::lock_guard<std::mutex> lock(FakeMutex());
    Hal().setup = setup;
}

std::vector<HalCall> HalCalls()
{
    std::lock_guard<std::mutex> lock(FakeMutex());
    return Hal().calls;
}

std::vector<HalCall> HalCalls(const std::string& op)
{
    std::vector<HalCall> matching;
    for (const auto& call : HalCalls()) {
        if (call.op == op) {
            matching.push_back(call);
        }
    }
    return matching;
}

}  // namespace Fakes

using Fakes::FakeMutex;
using Fakes::Hal;

extern "C" int drvGetDevNum(uint32_t* devNum)
{
    std::lock_guard<std::mutex> lock(FakeMutex());
    *devNum = Hal().setup.devices;
    Fakes::HalCall call;
    call.op = "devnum";
    call.ret = Hal().setup.devNumRet;
    Hal().calls.push_back(call);
    Fakes::RecordTimelineLocked("hal devnum ret=" + std::to_string(call.ret) + " count=" + std::to_string(*devNum));
    return call.ret;
}

extern "C" int halSensorNodeRegister(uint32_t devId, HalSensorNodeConfig* config, uint64_t* handle)
{
    std::lock_guard<std::mutex> lock(FakeMutex());
    Fakes::HalCall call;
    call.op = "register";
    call.dev = devId;
    const auto* bytes = reinterpret_cast<const unsigned char*>(config);
    call.record.assign(bytes, bytes + sizeof(*config));
    call.ret = Fakes::FailureFor("register", devId);
    if (call.ret == 0) {
        *handle = Hal().nextHandle++;
        call.handle = *handle;
    }
    Hal().calls.push_back(call);
    Fakes::RecordTimelineLocked("hal register dev=" + std::to_string(devId) + " name=" +
                                std::string(config->name, strnlen(config->name, sizeof(config->name))) +
                                " ret=" + std::to_string(call.ret) + " handle=" + std::to_string(call.handle));
    return call.ret;
}

extern "C" int halSensorNodeUnregister(uint32_t devId, uint64_t handle)
{
    std::lock_guard<std::mutex> lock(FakeMutex());
    Fakes::HalCall call;
    call.op = "unregister";
    call.dev = devId;
    call.handle = handle;
    call.ret = Fakes::FailureFor("unregister", devId);
    Hal().calls.push_back(call);
    Fakes::RecordTimelineLocked("hal unregister dev=" + std::to_string(devId) + " handle=" + std::to_string(handle) +
                                " ret=" + std::to_string(call.ret));
    return call.ret;
}

extern "C" int halSensorNodeUpdateState(uint32_t devId, uint64_t handle, int32_t fault, int32_t event)
{
    std::lock_guard<std::mutex> lock(FakeMutex());
    Fakes::HalCall call;
    call.op = "update";
    call.dev = devId;
    call.handle = handle;
    call.fault = fault;
    call.event = event;
    call.ret = Fakes::FailureFor("update", devId);
    Hal().calls.push_back(call);
    Fakes::RecordTimelineLocked("hal update dev=" + std::to_string(devId) + " handle=" + std::to_string(handle) +
                                " fault=" + std::to_string(fault) + " event=" + std::to_string(event) +
                                " ret=" + std::to_string(call.ret));
    return call.ret;
}
