#include <ctime>

#include "procmgr_common/call_while_busy.h"
#include "procmgr_common/procmgr_common.h"

namespace ProcMgr {

int ProcMgrEzcomSendRequest(int pipe, const EzcomRequest* request)
{
    return CallWhileBusy([&] { return EzcomSendRequest(pipe, request); }, SEND_RETRY, ::nanosleep);
}

int ProcMgrEzcomSendResponse(int pipe, const EzcomResponse* response)
{
    return CallWhileBusy([&] { return EzcomSendResponse(pipe, response); }, SEND_RETRY, ::nanosleep);
}

int ProcMgrEzcomRPCSync(int pipe, EzcomRequest* request, EzcomResponse* response)
{
    return CallWhileBusy([&] { return EzcomRPCSync(pipe, request, response); }, SEND_RETRY, ::nanosleep);
}

int ProcMgrEzcomTimedRPCSync(int pipe, EzcomRequest* request, EzcomResponse* response, int timeout)
{
    return CallWhileBusy([&] { return EzcomTimedRPCSync(pipe, request, response, timeout); }, SEND_RETRY, ::nanosleep);
}

void ProcMgrEzcomClosePipe(int pipe)
{
    CallWhileBusy([&] { return EzcomClosePipe(pipe); }, CLOSE_RETRY, ::nanosleep);
}

}  // namespace ProcMgr
