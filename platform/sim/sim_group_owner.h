// The group-owner stand-in: journals every operation, answers Configure and Start as configured,
// and plays a script of application declarations and state changes from the moment a callback
// is registered until Stop.
#ifndef PLATFORM_SIM_SIM_GROUP_OWNER_H
#define PLATFORM_SIM_SIM_GROUP_OWNER_H

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "platform/group_owner.h"
#include "platform/sim/script_player.h"
#include "platform/sim/sim_output.h"
#include "platform/sim/sim_settings.h"

namespace ProcMgr::Sim {

// Caps the applications a script can declare, and the restart results it can set.
constexpr size_t MAX_SCRIPTED_APPS = 4096;
constexpr int GRP_APP_NOT_DECLARED = 1;

struct GroupOwnerSettings {
    int configureResult = 0;  // PLATFORM_SIM_GRP_CONFIGURE_RET
    int startResult = 0;      // PLATFORM_SIM_GRP_START_RET
    std::string scriptPath;   // PLATFORM_SIM_GRP_SCRIPT; empty: no script
};

GroupOwnerSettings LoadGroupOwnerSettings(const EnvLookup& env, const Reporter& report);

// Never deleted through its base, whose destructor is protected; so its own need not be virtual.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor)
class SimGroupOwner final : public ProcMgrGrpOwner, private ScriptHandler {
public:
    SimGroupOwner(GroupOwnerSettings ownerSettings, LineSink journalSink, Reporter reporter);
    // Stops the player like Stop, without a journal line.
    ~SimGroupOwner();

    int Configure(const GrpOwnerStartupConfig& config) override;
    int Start() override;
    // Idempotent and safe at any time; no callback runs once it has returned.
    int Stop() override;
    int Run() override;
    int GetAppSensorConfig(const std::string& appName, AppSensorConfig& config) override;
    // The first registration starts the script; later ones only replace the callback.
    int RegisterAppStateCallback(AppStateCallback appStateCallback) override;
    int SetRunning(int running) override;
    int RestartApp(const std::string& appName) override;

private:
    void DeclareApp(const AppDeclaration& app) override;
    void SetRestartResult(const RestartResult& restart) override;
    void Deliver(const StateChange& change) override;
    bool Invoke(const AppStateCallback& appStateCallback, const StateChange& change) const;

    GroupOwnerSettings settings;
    LineSink journal;
    Reporter report;

    // Guards the callback and the scripted tables; never held while the callback runs, since the
    // callback calls GetAppSensorConfig and RestartApp.
    std::mutex dataMutex;
    AppStateCallback callback;
    std::map<std::string, AppSensorConfig> apps;
    std::map<std::string, int> restartResults;

    // Guards the player's start and stop; declared last so that the player goes first.
    std::mutex playerMutex;
    bool scriptStarted = false;
    std::unique_ptr<ScriptPlayer> player;
};

}  // namespace ProcMgr::Sim

#endif
