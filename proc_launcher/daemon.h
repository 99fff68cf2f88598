// The daemon's whole run, from the first log record to the exit code.
#ifndef PROC_LAUNCHER_DAEMON_H
#define PROC_LAUNCHER_DAEMON_H

namespace ProcMgr {

// 0 after a stop by SIGINT or SIGTERM; 1 when the group-owner service could not be configured
// or started.
int RunDaemon();

}  // namespace ProcMgr

#endif
