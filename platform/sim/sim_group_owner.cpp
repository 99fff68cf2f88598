#include "platform/sim/sim_group_owner.h"

#include <cinttypes>
#include <exception>

#include "platform/sim/sim_text.h"

namespace ProcMgr::Sim {

namespace {

constexpr IntegerRange INT32_RANGE{INT32_MIN, INT32_MAX};

template <typename Value>
bool RememberBounded(std::map<std::string, Value>& table, const std::string& name, const Value& value)
{
    const auto found = table.find(name);
    if (found != table.end()) {
        found->second = value;
        return true;
    }
    if (table.size() >= MAX_SCRIPTED_APPS) {
        return false;
    }
    table.emplace(name, value);
    return true;
}

}  // namespace

GroupOwnerSettings LoadGroupOwnerSettings(const EnvLookup& env, const Reporter& report)
{
    GroupOwnerSettings settings;
    settings.configureResult = static_cast<int>(
        ReadInteger(env, "PLATFORM_SIM_GRP_CONFIGURE_RET", settings.configureResult, INT32_RANGE, report));
    settings.startResult =
        static_cast<int>(ReadInteger(env, "PLATFORM_SIM_GRP_START_RET", settings.startResult, INT32_RANGE, report));
    const char* script = env("PLATFORM_SIM_GRP_SCRIPT");
    settings.scriptPath = script != nullptr ? script : "";
    return settings;
}

SimGroupOwner::SimGroupOwner(GroupOwnerSettings ownerSettings, LineSink journalSink, Reporter reporter)
    : settings(std::move(ownerSettings)), journal(std::move(journalSink)), report(std::move(reporter))
{
}

SimGroupOwner::~SimGroupOwner()
{
    const std::lock_guard<std::mutex> lock(playerMutex);
    player.reset();
}

int SimGroupOwner::Configure(const GrpOwnerStartupConfig& config)
{
    const int result = settings.configureResult;
    journal.Write(
        Format("grp Configure startupConfigPath=%s extraPath=%s resourcePath=%s firstFlag=%d secondFlag=%d "
               "extraValue=%" PRIu64 " ret=%d",
               EscapeControl(config.startupConfigPath).c_str(), EscapeControl(config.extraPath).c_str(),
               EscapeControl(config.resourcePath).c_str(), config.firstFlag ? 1 : 0, config.secondFlag ? 1 : 0,
               config.extraValue, result));
    return result;
}

int SimGroupOwner::Start()
{
    journal.Write(Format("grp Start ret=%d", settings.startResult));
    return settings.startResult;
}

int SimGroupOwner::Stop()
{
    {
        const std::lock_guard<std::mutex> lock(playerMutex);
        player.reset();
    }
    journal.Write("grp Stop");
    return 0;
}

int SimGroupOwner::Run()
{
    journal.Write("grp Run");
    return 0;
}

int SimGroupOwner::GetAppSensorConfig(const std::string& appName, AppSensorConfig& config)
{
    AppSensorConfig declared;
    int result = GRP_APP_NOT_DECLARED;
    {
        const std::lock_guard<std::mutex> lock(dataMutex);
        const auto found = apps.find(appName);
        if (found != apps.end()) {
            declared = found->second;
            result = 0;
        }
    }
    if (result == 0) {
        config = declared;
    }
    journal.Write(Format("grp GetAppSensorConfig app=%s ret=%d nodeType=0x%" PRIx32 " reportScope=%" PRId32,
                         EscapeControl(appName).c_str(), result, declared.nodeType, declared.reportScope));
    return result;
}

int SimGroupOwner::RegisterAppStateCallback(AppStateCallback appStateCallback)
{
    {
        const std::lock_guard<std::mutex> lock(dataMutex);
        callback = std::move(appStateCallback);
    }
    journal.Write("grp RegisterAppStateCallback");
    const std::lock_guard<std::mutex> lock(playerMutex);
    if (!scriptStarted && !settings.scriptPath.empty()) {
        scriptStarted = true;
        player = ScriptPlayer::Open(settings.scriptPath, *this, report);
    }
    return 0;
}

int SimGroupOwner::SetRunning(int running)
{
    journal.Write(Format("grp SetRunning %d", running));
    return 0;
}

int SimGroupOwner::RestartApp(const std::string& appName)
{
    int result = 0;
    {
        const std::lock_guard<std::mutex> lock(dataMutex);
        const auto found = restartResults.find(appName);
        if (found != restartResults.end()) {
            result = found->second;
        }
    }
    journal.Write(Format("grp RestartApp app=%s ret=%d", EscapeControl(appName).c_str(), result));
    return result;
}

void SimGroupOwner::DeclareApp(const AppDeclaration& app)
{
    const std::lock_guard<std::mutex> lock(dataMutex);
    if (!RememberBounded(apps, app.name, AppSensorConfig{app.nodeType, app.reportScope})) {
        report(Format("group-owner script declares more than %zu applications; '%s' ignored", MAX_SCRIPTED_APPS,
                      EscapeControl(app.name).c_str()));
    }
}

void SimGroupOwner::SetRestartResult(const RestartResult& restart)
{
    const std::lock_guard<std::mutex> lock(dataMutex);
    if (!RememberBounded(restartResults, restart.name, static_cast<int>(restart.result))) {
        report(Format("group-owner script sets more than %zu restart results; '%s' ignored", MAX_SCRIPTED_APPS,
                      EscapeControl(restart.name).c_str()));
    }
}

void SimGroupOwner::Deliver(const StateChange& change)
{
    AppStateCallback current;
    {
        const std::lock_guard<std::mutex> lock(dataMutex);
        current = callback;
    }
    const bool result = Invoke(current, change);
    journal.Write(Format("grp callback app=%s pid=%" PRId32 " state=%" PRId32 " result=%d",
                         EscapeControl(change.name).c_str(), change.pid, change.state, result ? 1 : 0));
}

bool SimGroupOwner::Invoke(const AppStateCallback& appStateCallback, const StateChange& change) const
{
    if (!appStateCallback) {
        return false;
    }
    try {
        return appStateCallback(change.name, change.pid, static_cast<AppReportState>(change.state));
    } catch (const std::exception& error) {
        // A service thread must survive a throwing callback; the change counts as refused.
        report(Format("state callback for '%s' threw: %s", EscapeControl(change.name).c_str(), error.what()));
        return false;
    }
}

}  // namespace ProcMgr::Sim
