#include "proc_launcher/daemon.h"

#include "platform/easy_comm.h"
#include "platform/launcher_log.h"
#include "proc_launcher/proc_launcher.h"

namespace ProcMgr {

int RunDaemon()
{
    LAUNCHER_LOG_INFO("start entry...");
    ProcLauncher launcher;
    if (launcher.Init() != 0) {
        launcher.Deinit();
        DlogFlush();
        return 1;
    }
    launcher.RunLoop();
    launcher.Deinit();
    LAUNCHER_RUNLOG_INFO("proc_launcher exit.");
    DlogFlush();
    (void)EzcomCfgFinishServer();
    return 0;
}

}  // namespace ProcMgr
