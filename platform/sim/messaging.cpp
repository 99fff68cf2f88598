// Stand-in for the messaging library easy_comm: each pipe function answers its transient code for
// its first N calls (or always, for a negative N), then 0.
#include "platform/easy_comm.h"
#include "platform/sim/sim.h"

namespace {

using ProcMgr::Sim::Platform;

enum Function : size_t { SEND_REQUEST, SEND_RESPONSE, RPC_SYNC, TIMED_RPC_SYNC, CLOSE_PIPE };
constexpr const char* FUNCTION_NAMES[ProcMgr::Sim::EZCOM_FUNCTIONS] = {"SendRequest", "SendResponse", "RPCSync",
                                                                       "TimedRPCSync", "ClosePipe"};

// Counted per function, so that a retry loop on one function never uses up another's budget.
int Answer(Function function)
{
    const bool busy = ProcMgr::Sim::Locked([function](Platform& platform) {
        const int64_t earlier = platform.ezcomCalls[function]++;
        const int64_t busyCalls = platform.settings.ezcomBusyCalls;
        return busyCalls < 0 || earlier < busyCalls;
    });
    if (!busy) {
        return 0;
    }
    return function == CLOSE_PIPE ? EZCOM_CLOSE_PIPE_BUSY : EZCOM_TRANSIENT_BUSY;
}

int Call(Function function, int pipe)
{
    const int result = Answer(function);
    ProcMgr::Sim::Journal("ezcom %s pipe=%d ret=%d", FUNCTION_NAMES[function], pipe, result);
    return result;
}

}  // namespace

extern "C" SIM_EXPORT int EzcomCfgFinishServer()
{
    ProcMgr::Sim::Journal("ezcom CfgFinishServer");
    return 0;
}

extern "C" SIM_EXPORT int EzcomSendRequest(int pipe, const EzcomRequest* /*request*/)
{
    return Call(SEND_REQUEST, pipe);
}

extern "C" SIM_EXPORT int EzcomSendResponse(int pipe, const EzcomResponse* /*response*/)
{
    return Call(SEND_RESPONSE, pipe);
}

extern "C" SIM_EXPORT int EzcomRPCSync(int pipe, EzcomRequest* /*request*/, EzcomResponse* /*response*/)
{
    return Call(RPC_SYNC, pipe);
}

extern "C" SIM_EXPORT int EzcomTimedRPCSync(int pipe, EzcomRequest* /*request*/, EzcomResponse* /*response*/,
                                            int timeout)
{
    const int result = Answer(TIMED_RPC_SYNC);
    ProcMgr::Sim::Journal("ezcom TimedRPCSync pipe=%d timeout=%d ret=%d", pipe, timeout, result);
    return result;
}

extern "C" SIM_EXPORT int EzcomClosePipe(int pipe)
{
    return Call(CLOSE_PIPE, pipe);
}
