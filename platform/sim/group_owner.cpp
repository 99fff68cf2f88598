// Stand-in for the group-owner service: journals every operation, answers Configure and Start as
// set, knows the applications' sensor configurations and restart results, and plays the script
// from the moment a callback is registered until Stop.
#include "platform/group_owner.h"

#include <cinttypes>

#include "platform/sim/sim.h"

namespace ProcMgr::Sim {
namespace {

constexpr int GRP_APP_NOT_DECLARED = 1;

// Never deleted through its base, whose destructor is protected; so its own need not be virtual.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor)
class SimGroupOwner final : public ProcMgrGrpOwner {
public:
    int Configure(const GrpOwnerStartupConfig& config) override
    {
        const int result = Locked([](const Platform& platform) { return platform.settings.configureResult; });
        Journal(
            "grp Configure startupConfigPath=%s extraPath=%s resourcePath=%s firstFlag=%d secondFlag=%d "
            "extraValue=%" PRIu64 " ret=%d",
            Escaped(config.startupConfigPath).c_str(), Escaped(config.extraPath).c_str(),
            Escaped(config.resourcePath).c_str(), config.firstFlag ? 1 : 0, config.secondFlag ? 1 : 0,
            config.extraValue, result);
        return result;
    }

    int Start() override
    {
        const int result = Locked([](const Platform& platform) { return platform.settings.startResult; });
        Journal("grp Start ret=%d", result);
        return result;
    }

    // No callback runs once it has returned; safe at any time.
    int Stop() override
    {
        StopScript();
        Journal("grp Stop");
        return 0;
    }

    int Run() override
    {
        Journal("grp Run");
        return 0;
    }

    // Answers 1, leaving config untouched, for an application that was never declared.
    int GetAppSensorConfig(const std::string& appName, AppSensorConfig& config) override
    {
        const std::optional<AppSensorConfig> declared = Locked([&](const Platform& platform) {
            const auto found = platform.settings.apps.find(appName);
            return found != platform.settings.apps.end() ? std::optional(found->second) : std::nullopt;
        });
        if (declared) {
            config = *declared;
        }
        const AppSensorConfig shown = declared.value_or(AppSensorConfig{});
        const int result = declared ? 0 : GRP_APP_NOT_DECLARED;
        Journal("grp GetAppSensorConfig app=%s ret=%d nodeType=0x%" PRIx32 " reportScope=%" PRId32,
                Escaped(appName).c_str(), result, shown.nodeType, shown.reportScope);
        return result;
    }

    // The first registration starts the script; later ones only replace the callback.
    int RegisterAppStateCallback(AppStateCallback callback) override
    {
        Locked([&](Platform& platform) { platform.callback = std::move(callback); });
        Journal("grp RegisterAppStateCallback");
        StartScript();
        return 0;
    }

    int SetRunning(int running) override
    {
        Journal("grp SetRunning %d", running);
        return 0;
    }

    int RestartApp(const std::string& appName) override
    {
        const int result = Locked([&](const Platform& platform) {
            const auto found = platform.settings.restartResults.find(appName);
            return found != platform.settings.restartResults.end() ? found->second : 0;
        });
        Journal("grp RestartApp app=%s ret=%d", Escaped(appName).c_str(), result);
        return result;
    }
};

}  // namespace
}  // namespace ProcMgr::Sim

namespace ProcMgr {

ProcMgrGrpOwner* ProcMgrGrpOwner::GetInstance()
{
    // Never destroyed: callers may reach it from their own static destructors.
    static ProcMgrGrpOwner* const instance = new Sim::SimGroupOwner;
    return instance;
}

}  // namespace ProcMgr
