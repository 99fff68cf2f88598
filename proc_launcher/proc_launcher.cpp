#include "proc_launcher/proc_launcher.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <map>
#include <utility>

#include "memory_monitor/memory_monitor.h"
#include "platform/easy_comm.h"
#include "platform/launcher_log.h"

namespace ProcMgr {
namespace {

constexpr const char* STARTUP_CONFIG_PATH = "/etc/orv/base-plat/proc_launcher/proc_launcher_startup.yaml";
constexpr const char* RESOURCE_PATH = "/res/proc_launcher/ss";
constexpr uint16_t OS_MEMORY_NODE_TYPE = 0x0617;
constexpr uint8_t OS_MEMORY_SENSOR_TYPE = 0xD0;
constexpr int32_t EVERY_DEVICE = -1;
constexpr uint8_t APP_SENSOR_TYPE = 0x27;
constexpr int32_t EVENT_FAULT = 1;
constexpr int32_t EVENT_CLEARED = 0;
constexpr long LOOP_PERIOD_NS = 200000000;

// Written in signal context, read by the loop.
std::atomic<bool> stopRequested{false};
static_assert(std::atomic<bool>::is_always_lock_free, "the stop flag is set from a signal handler");

extern "C" void HandleStopSignal(int /*signal*/)
{
    stopRequested.store(true);
}

// The daemon's one memory detector; lives until exit.
MemoryShortageDetector osMemoryDetector{SYSFS_NODE_DIR, &MemoryShortageDetector::Clock::now, &StopRequested};

// A signal that interrupts the sleep does not shorten it: the loop period stays 200 ms.
void SleepOneTick()
{
    timespec span{0, LOOP_PERIOD_NS};
    while (nanosleep(&span, &span) != 0 && errno == EINTR) {
    }
}

const char* AppStateName(AppReportState state)
{
    // Built on the first message that is written, so a quiet log costs nothing.
    static const std::map<AppReportState, std::string> names{
        {SWITCH_ON, "SWITCH_ON"},
        {SWITCH_OFF, "SWITCH_OFF"},
        {HEART_BEAT_LOST, "HEART_BEAT_LOST"},
        {HEART_BEAT_RECOVERY, "HEART_BEAT_RECOVERY"},
        {ABNORMAL_EXIT, "ABNORMAL_EXIT"},
        {ACTIVELY_EXIT, "ACTIVELY_EXIT"},
    };
    const auto found = names.find(state);
    return found == names.end() ? "unknown" : found->second.c_str();
}

void LogAppStateChange(const std::string& appName, int pid, AppReportState state)
{
    if (LogEnabled(LOG_MODULE_RUNLOG, LOG_LEVEL_INFO)) {
        PROC_LAUNCHER_LOG_WRITE(LOG_MODULE_RUNLOG, LOG_LEVEL_INFO,
                                "Receive app state change. (name=%s,pid=%d,state=%s)", appName.c_str(), pid,
                                AppStateName(state));
    }
}

int32_t EventOf(AppReportState state)
{
    return state == HEART_BEAT_LOST || state == ABNORMAL_EXIT ? EVENT_FAULT : EVENT_CLEARED;
}

}  // namespace

bool StopRequested()
{
    return stopRequested.load();
}

// Here, so that its records carry lines of the launcher's own source file.
bool RunDaemon()
{
    LAUNCHER_LOG_INFO("start entry...");
    ProcLauncher launcher;
    if (launcher.Init() != 0) {
        launcher.Deinit();
        DlogFlush();
        return false;
    }
    launcher.RunLoop();
    launcher.Deinit();
    LAUNCHER_RUNLOG_INFO("proc_launcher exit.");
    DlogFlush();
    (void)EzcomCfgFinishServer();
    return true;
}

int ProcLauncher::Init()
{
    GrpOwnerStartupConfig config;
    config.startupConfigPath = STARTUP_CONFIG_PATH;
    config.extraPath = "";
    config.resourcePath = RESOURCE_PATH;
    config.firstFlag = false;
    config.secondFlag = true;
    config.extraValue = 0;

    int ret = ProcMgrGrpOwner::GetInstance()->Configure(config);
    if (ret != 0) {
        return ret;
    }
    ret = ProcMgrGrpOwner::GetInstance()->Start();
    if (ret != 0) {
        return ret;
    }
    RegOsMemorySensorNode();
    AppStateCallback callback = [this](const std::string& appName, int pid, AppReportState state) {
        return OnAppStateChange(appName, pid, state);
    };
    (void)ProcMgrGrpOwner::GetInstance()->RegisterAppStateCallback(std::move(callback));
    return 0;
}

void ProcLauncher::RegOsMemorySensorNode()
{
    static const SensorNodeConfig osMemoryNode{OS_MEMORY_NODE_NAME, OS_MEMORY_NODE_TYPE, OS_MEMORY_SENSOR_TYPE,
                                               EVERY_DEVICE};
    if (reporter.RegisterSensorNode(osMemoryNode)) {
        LAUNCHER_RUNLOG_INFO("Register sensor node for os memory success");
    } else {
        LAUNCHER_LOG_ERROR("Register sensor node for os memory failed");
    }
}

void ProcLauncher::RunLoop()
{
    (void)signal(SIGPIPE, SIG_IGN);
    (void)signal(SIGINT, HandleStopSignal);
    (void)signal(SIGTERM, HandleStopSignal);
    (void)ProcMgrGrpOwner::GetInstance()->Run();
    (void)ProcMgrGrpOwner::GetInstance()->SetRunning(1);
    while (!StopRequested()) {
        CheckOsMemory();
        SleepOneTick();
    }
}

void ProcLauncher::Deinit()
{
    (void)reporter.UnregisterAllSensorNodes();
    (void)ProcMgrGrpOwner::GetInstance()->Stop();
}

void ProcLauncher::CheckOsMemory()
{
    osMemoryDetector.Check(reporter);
}

bool ProcLauncher::OnAppStateChange(const std::string& appName, int pid, AppReportState state)
{
    LogAppStateChange(appName, pid, state);
    if (state == SWITCH_OFF) {
        return true;
    }
    std::lock_guard<std::mutex> lock(appStateMutex);
    if (state == ACTIVELY_EXIT) {
        return UnregAppSensorNode(appName);
    }
    if (RegAppSensorNode(appName) != 0) {
        return false;
    }
    reporter.ReportEvent(appName, EventOf(state));
    if (state != HEART_BEAT_LOST) {
        return true;
    }
    if (ProcMgrGrpOwner::GetInstance()->RestartApp(appName) != 0) {
        LAUNCHER_LOG_ERROR("Restart app failed when in heartbeat lost state. (app=%s)", appName.c_str());
        return false;
    }
    return true;
}

int ProcLauncher::RegAppSensorNode(const std::string& appName)
{
    AppSensorConfig sensorConfig{};
    if (ProcMgrGrpOwner::GetInstance()->GetAppSensorConfig(appName, sensorConfig) != 0) {
        LAUNCHER_RUNLOG_INFO("RegAppSensorNode, app yaml not config. (appName=%s)", appName.c_str());
        return 1;
    }
    if (sensorConfig.nodeType == 0) {
        LAUNCHER_RUNLOG_INFO("RegAppSensorNode, nodeType=0. (appName=%s)", appName.c_str());
        return 1;
    }
    // Only the low 16 bits name a HAL node type.
    const SensorNodeConfig nodeConfig{appName, static_cast<uint16_t>(sensorConfig.nodeType & 0xFFFFU), APP_SENSOR_TYPE,
                                      sensorConfig.reportScope};
    return reporter.RegisterSensorNode(nodeConfig) ? 0 : 1;
}

bool ProcLauncher::UnregAppSensorNode(const std::string& appName)
{
    return reporter.UnregisterSensorNode(appName);
}

}  // namespace ProcMgr
