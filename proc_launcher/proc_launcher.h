// The launcher: brings up the application group through the group-owner service, turns the
// applications' state changes into sensor node events, and watches the OS memory until stopped.
#ifndef PROC_LAUNCHER_PROC_LAUNCHER_H
#define PROC_LAUNCHER_PROC_LAUNCHER_H

#include <mutex>
#include <string>

#include "platform/group_owner.h"
#include "sensor_reporter/sensor_node_event_reporter.h"

namespace ProcMgr {

class ProcLauncher {
public:
    ProcLauncher() = default;
    ProcLauncher(const ProcLauncher&) = delete;
    ProcLauncher& operator=(const ProcLauncher&) = delete;

    // 0 once the service is configured and started, the "os-memory" node registration tried and
    // the state-change callback installed; otherwise the failing Configure or Start result.
    int Init();
    // Ignores SIGPIPE, makes SIGINT and SIGTERM stop the loop, and runs the memory check every
    // 200 ms until one of them arrives.
    void RunLoop();
    // Unregisters every sensor node, then stops the service. The service may still deliver a change
    // in between, which registers its node again: that node stays at the HAL until the next start.
    void Deinit();
    void RegOsMemorySensorNode();

    // The group-owner service's callback: true when the change was handled in full (see the
    // state table in proc_launcher.cpp), false when the application has no node or its restart
    // was refused.
    bool OnAppStateChange(const std::string& appName, int pid, AppReportState state);
    // 0 when the application's node is registered (now or before), 1 otherwise.
    int RegAppSensorNode(const std::string& appName);
    bool UnregAppSensorNode(const std::string& appName);

    // Called on every loop tick; measures at most once per 60 s.
    void CheckOsMemory();

private:
    std::mutex appStateMutex;  // taken before the reporter's own mutex, never after it
    SensorNodeEventReporter reporter;
};

// Set by SIGINT and SIGTERM once RunLoop has installed its handler; never reset.
bool StopRequested();

// The daemon's whole run, from the first log record to the last: true after a stop by SIGINT or
// SIGTERM, false when the group-owner service could not be configured or started.
bool RunDaemon();

}  // namespace ProcMgr

#endif
