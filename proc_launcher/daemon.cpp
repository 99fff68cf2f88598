#include "proc_launcher/proc_launcher.h"

// The daemon takes no arguments and no configuration: everything it needs is fixed.
int main()
{
    if (!ProcMgr::RunDaemon()) {
        return 1;
    }
    return 0;
}
