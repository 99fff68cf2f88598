// Interface of the platform's group-owner service (libgroup_owner.so): it launches and supervises
// the applications of a group and reports their state changes through a callback.
#ifndef PLATFORM_GROUP_OWNER_H
#define PLATFORM_GROUP_OWNER_H

#include <cstdint>
#include <functional>
#include <string>

namespace ProcMgr {

enum AppReportState : int32_t {
    SWITCH_ON = 0,
    SWITCH_OFF = 1,
    HEART_BEAT_LOST = 2,
    HEART_BEAT_RECOVERY = 3,
    ABNORMAL_EXIT = 4,
    ACTIVELY_EXIT = 5,
};

struct GrpOwnerStartupConfig {
    std::string startupConfigPath;
    std::string extraPath;
    std::string resourcePath;
    bool firstFlag = false;
    bool secondFlag = false;
    uint64_t extraValue = 0;
};

struct AppSensorConfig {
    uint32_t nodeType = 0;  // 0: the application has no sensor node
    int32_t reportScope = 0;
};

using AppStateCallback = std::function<bool(const std::string& appName, int pid, AppReportState state)>;

// A process-wide singleton owned by its library; callers fetch it anew for every call and never
// destroy it. Operations answer 0 on success.
class __attribute__((visibility("default"))) ProcMgrGrpOwner {
public:
    static ProcMgrGrpOwner* GetInstance();

    virtual int Configure(const GrpOwnerStartupConfig& config) = 0;
    virtual int Start() = 0;
    // After Stop returns the callback is never called again; safe after a failed Configure or Start.
    virtual int Stop() = 0;
    virtual int Run() = 0;
    // Nonzero: the application's configuration has no sensor entry.
    virtual int GetAppSensorConfig(const std::string& appName, AppSensorConfig& config) = 0;
    // The service keeps its own copy and may call it on its own threads until Stop returns.
    virtual int RegisterAppStateCallback(AppStateCallback callback) = 0;
    virtual int SetRunning(int running) = 0;
    virtual int RestartApp(const std::string& appName) = 0;

protected:
    ProcMgrGrpOwner() = default;
    ~ProcMgrGrpOwner() = default;
    ProcMgrGrpOwner(const ProcMgrGrpOwner&) = delete;
    ProcMgrGrpOwner& operator=(const ProcMgrGrpOwner&) = delete;
};

}  // namespace ProcMgr

#endif
