#include "proc_launcher/proc_launcher.h"

// The daemon takes no arguments and no configuration: everything it needs is fixed.
int main()
{
    return ProcMgr::RunDaemon();
}
