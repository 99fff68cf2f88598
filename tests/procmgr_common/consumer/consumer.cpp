// Another program of the platform, as far as the common library can tell: it knows only the public
// header and libprocmgr_common.so. Exit code 0 when the send went through and the names resolve.
#include <cstdio>
#include <cstdlib>

#include "procmgr_common/procmgr_common.h"

int main(int argc, char** argv)
{
    const int pipe = argc > 1 ? static_cast<int>(std::strtol(argv[1], nullptr, 10)) : 1;
    const int result = ProcMgr::ProcMgrEzcomSendRequest(pipe, nullptr);
    std::printf("ProcMgrEzcomSendRequest(%d) = %d\n", pipe, result);
    if (result != 0) {
        return 1;
    }
    if (ProcMgr::GetSysState(4) != "CALIBRATION" || !ProcMgr::IsStrDigits("0123456789")) {
        std::printf("name functions answer wrongly\n");
        return 2;
    }
    return 0;
}
