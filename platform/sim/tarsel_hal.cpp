// Stand-in for the device HAL.
#include "platform/tarsel_hal.h"

#include "platform/sim/sim_export.h"
#include "platform/sim/sim_hal.h"

namespace {

ProcMgr::Sim::SimHal& Hal()
{
    using namespace ProcMgr::Sim;
    static SimHal hal(LoadHalSettings(ProcessEnvironment(), StderrReporter()), ProcessJournal());
    return hal;
}

}  // namespace

extern "C" SIM_EXPORT int drvGetDevNum(uint32_t* devNum)
{
    return Hal().GetDevNum(devNum);
}

extern "C" SIM_EXPORT int halSensorNodeRegister(uint32_t devId, HalSensorNodeConfig* config, uint64_t* handle)
{
    return Hal().Register(devId, config, handle);
}

extern "C" SIM_EXPORT int halSensorNodeUnregister(uint32_t devId, uint64_t handle)
{
    return Hal().Unregister(devId, handle);
}

extern "C" SIM_EXPORT int halSensorNodeUpdateState(uint32_t devId, uint64_t handle, int32_t fault, int32_t event)
{
    return Hal().Update(devId, handle, fault, event);
}
