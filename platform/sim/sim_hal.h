// The device HAL stand-in: a configurable device count, injected failures per call and device,
// and handles 1, 2, 3, ... for successful registrations.
#ifndef PLATFORM_SIM_SIM_HAL_H
#define PLATFORM_SIM_SIM_HAL_H

#include <atomic>
#include <cstdint>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "platform/sim/sim_output.h"
#include "platform/sim/sim_settings.h"
#include "platform/tarsel_hal.h"

namespace ProcMgr::Sim {

constexpr int HAL_INJECTED_FAILURE = 7;
constexpr int HAL_INVALID_ARGUMENT = 22;

enum class HalCall { REGISTER, UPDATE, UNREGISTER };

class HalFailures {
public:
    void Add(HalCall call, uint32_t deviceId) { entries.emplace(call, deviceId); }
    bool Fails(HalCall call, uint32_t deviceId) const { return entries.count({call, deviceId}) != 0; }
    size_t Size() const { return entries.size(); }

private:
    std::set<std::pair<HalCall, uint32_t>> entries;
};

// A comma list of register@D, update@D and unregister@D (blanks around items allowed); empty text
// is an empty list. nullopt when any item is malformed.
std::optional<HalFailures> ParseHalFailures(std::string_view text);

struct HalSettings {
    uint32_t devices = 1;  // PLATFORM_SIM_HAL_DEVICES
    int devNumResult = 0;  // PLATFORM_SIM_HAL_DEVNUM_RET
    HalFailures failures;  // PLATFORM_SIM_HAL_FAIL
};

HalSettings LoadHalSettings(const EnvLookup& env, const Reporter& report);

class SimHal {
public:
    SimHal(HalSettings halSettings, LineSink journalSink)
        : settings(std::move(halSettings)), journal(std::move(journalSink))
    {
    }

    int GetDevNum(uint32_t* devNum) const;
    int Register(uint32_t devId, const HalSensorNodeConfig* config, uint64_t* handle);
    int Update(uint32_t devId, uint64_t handle, int32_t fault, int32_t event) const;
    int Unregister(uint32_t devId, uint64_t handle) const;

private:
    int Result(HalCall call, uint32_t devId) const;

    HalSettings settings;
    LineSink journal;
    std::atomic<uint64_t> nextHandle{1};
};

}  // namespace ProcMgr::Sim

#endif
