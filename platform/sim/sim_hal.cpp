#include "platform/sim/sim_hal.h"

#include <cinttypes>
#include <cstring>

#include "platform/sim/sim_text.h"

namespace ProcMgr::Sim {

namespace {

std::string_view TrimBlanks(std::string_view text)
{
    const size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::optional<HalCall> ParseHalCall(std::string_view name)
{
    if (name == "register") {
        return HalCall::REGISTER;
    }
    if (name == "update") {
        return HalCall::UPDATE;
    }
    if (name == "unregister") {
        return HalCall::UNREGISTER;
    }
    return std::nullopt;
}

bool AddFailure(std::string_view item, HalFailures& failures)
{
    const size_t at = item.find('@');
    if (at == std::string_view::npos) {
        return false;
    }
    const std::optional<HalCall> call = ParseHalCall(item.substr(0, at));
    const std::optional<int64_t> device = ParseInteger(item.substr(at + 1), {0, UINT32_MAX});
    if (!call || !device) {
        return false;
    }
    failures.Add(*call, static_cast<uint32_t>(*device));
    return true;
}

}  // namespace

std::optional<HalFailures> ParseHalFailures(std::string_view text)
{
    HalFailures failures;
    if (TrimBlanks(text).empty()) {
        return failures;
    }
    for (;;) {
        const size_t comma = text.find(',');
        if (!AddFailure(TrimBlanks(text.substr(0, comma)), failures)) {
            return std::nullopt;
        }
        if (comma == std::string_view::npos) {
            return failures;
        }
        text.remove_prefix(comma + 1);
    }
}

HalSettings LoadHalSettings(const EnvLookup& env, const Reporter& report)
{
    HalSettings settings;
    settings.devices =
        static_cast<uint32_t>(ReadInteger(env, "PLATFORM_SIM_HAL_DEVICES", settings.devices, {0, UINT32_MAX}, report));
    settings.devNumResult = static_cast<int>(
        ReadInteger(env, "PLATFORM_SIM_HAL_DEVNUM_RET", settings.devNumResult, {INT32_MIN, INT32_MAX}, report));
    settings.failures = ReadSetting(env, "PLATFORM_SIM_HAL_FAIL", HalFailures{}, &ParseHalFailures,
                                    "a comma list of register@D, update@D, unregister@D", "no failures", report);
    return settings;
}

int SimHal::Result(HalCall call, uint32_t devId) const
{
    return settings.failures.Fails(call, devId) ? HAL_INJECTED_FAILURE : 0;
}

int SimHal::GetDevNum(uint32_t* devNum) const
{
    const int result = devNum == nullptr ? HAL_INVALID_ARGUMENT : settings.devNumResult;
    if (devNum != nullptr) {
        *devNum = settings.devices;
    }
    journal.Write(Format("hal devnum ret=%d count=%" PRIu32, result, settings.devices));
    return result;
}

int SimHal::Register(uint32_t devId, const HalSensorNodeConfig* config, uint64_t* handle)
{
    HalSensorNodeConfig shown{};
    int result = HAL_INVALID_ARGUMENT;
    uint64_t given = 0;
    if (config != nullptr && handle != nullptr) {
        shown = *config;
        result = Result(HalCall::REGISTER, devId);
        if (result == 0) {
            given = nextHandle.fetch_add(1);
            *handle = given;
        }
    }
    // The HAL reads the name up to its first zero byte, never past the field.
    const std::string_view name(shown.name, strnlen(shown.name, HAL_SENSOR_NODE_NAME_SIZE));
    journal.Write(Format("hal register dev=%" PRIu32
                         " name=%s nodeType=0x%04x sensorType=0x%02x ret=%d handle=%" PRIu64,
                         devId, EscapeControl(name).c_str(), static_cast<unsigned>(shown.nodeType),
                         static_cast<unsigned>(shown.sensorType), result, given));
    return result;
}

int SimHal::Update(uint32_t devId, uint64_t handle, int32_t fault, int32_t event) const
{
    const int result = Result(HalCall::UPDATE, devId);
    journal.Write(Format("hal update dev=%" PRIu32 " handle=%" PRIu64 " fault=%" PRId32 " event=%" PRId32 " ret=%d",
                         devId, handle, fault, event, result));
    return result;
}

int SimHal::Unregister(uint32_t devId, uint64_t handle) const
{
    const int result = Result(HalCall::UNREGISTER, devId);
    journal.Write(Format("hal unregister dev=%" PRIu32 " handle=%" PRIu64 " ret=%d", devId, handle, result));
    return result;
}

}  // namespace ProcMgr::Sim
