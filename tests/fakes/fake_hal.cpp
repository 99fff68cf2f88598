#include <cstring>

#include "platform/tarsel_hal.h"
#include "tests/fakes/fakes.h"
#include "tests/fakes/state.h"

namespace Fakes {
namespace {
// Records the call with its configured result (0 unless failures names op@dev) and returns it.
int Record(HalCall call, const std::string& details)
{
    const auto& failures = State().hal.failures;
    const auto found = failures.find(call.op + "@" + std::to_string(call.dev));
    const int ret = found == failures.end() ? 0 : found->second;
    if (call.op == "register" && ret == 0) {
        call.handle = State().nextHandle++;
    }
    State().halCalls.push_back(call);
    State().timeline.push_back("hal " + call.op + " dev=" + std::to_string(call.dev) + details +
                               " ret=" + std::to_string(ret) +
                               (call.op == "register" ? " handle=" + std::to_string(call.handle) : ""));
    return ret;
}
}  // namespace

void SetHal(const HalSetup& setup)
{
    std::lock_guard<std::mutex> lock(FakeMutex());
    State().hal = setup;
}

std::vector<HalCall> HalCalls()
{
    return Locked(State().halCalls);
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
using Fakes::State;

extern "C" int drvGetDevNum(uint32_t* devNum)
{
    std::lock_guard<std::mutex> lock(FakeMutex());
    *devNum = State().hal.devices;
    State().halCalls.push_back(Fakes::HalCall{"devnum"});
    const int ret = State().hal.devNumRet;
    State().timeline.push_back("hal devnum ret=" + std::to_string(ret) + " count=" + std::to_string(*devNum));
    return ret;
}

extern "C" int halSensorNodeRegister(uint32_t devId, HalSensorNodeConfig* config, uint64_t* handle)
{
    std::lock_guard<std::mutex> lock(FakeMutex());
    const auto* bytes = reinterpret_cast<const unsigned char*>(config);
    Fakes::HalCall call{"register", devId};
    call.record.assign(bytes, bytes + sizeof(*config));
    const int ret =
        Fakes::Record(call, " name=" + std::string(config->name, strnlen(config->name, sizeof(config->name))));
    if (ret == 0) {
        *handle = State().halCalls.back().handle;
    }
    return ret;
}

extern "C" int halSensorNodeUnregister(uint32_t devId, uint64_t handle)
{
    std::lock_guard<std::mutex> lock(FakeMutex());
    return Fakes::Record(Fakes::HalCall{"unregister", devId, handle}, " handle=" + std::to_string(handle));
}

extern "C" int halSensorNodeUpdateState(uint32_t devId, uint64_t handle, int32_t fault, int32_t event)
{
    std::lock_guard<std::mutex> lock(FakeMutex());
    return Fakes::Record(
        Fakes::HalCall{"update", devId, handle, fault, event},
        " handle=" + std::to_string(handle) + " fault=" + std::to_string(fault) + " event=" + std::to_string(event));
}
