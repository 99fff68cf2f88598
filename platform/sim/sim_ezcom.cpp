#include "platform/sim/sim_ezcom.h"

#include "platform/easy_comm.h"
#include "platform/sim/sim_text.h"

namespace ProcMgr::Sim {

namespace {

const char* CallName(EzcomCall call)
{
    switch (call) {
        case EzcomCall::SEND_REQUEST:
            return "SendRequest";
        case EzcomCall::SEND_RESPONSE:
            return "SendResponse";
        case EzcomCall::RPC_SYNC:
            return "RPCSync";
        case EzcomCall::TIMED_RPC_SYNC:
            return "TimedRPCSync";
        case EzcomCall::CLOSE_PIPE:
            return "ClosePipe";
    }
    return "?";
}

}  // namespace

int64_t LoadEzcomBusyCalls(const EnvLookup& env, const Reporter& report)
{
    return ReadInteger(env, "PLATFORM_SIM_EZCOM_BUSY", 0, {INT32_MIN, INT32_MAX}, report);
}

int SimEzcom::Answer(EzcomCall call)
{
    const uint64_t earlier = callCounts[static_cast<size_t>(call)].fetch_add(1);
    const bool busy = busyCalls < 0 || earlier < static_cast<uint64_t>(busyCalls);
    if (!busy) {
        return 0;
    }
    return call == EzcomCall::CLOSE_PIPE ? EZCOM_CLOSE_PIPE_BUSY : EZCOM_TRANSIENT_BUSY;
}

int SimEzcom::FinishServer() const
{
    journal.Write("ezcom CfgFinishServer");
    return 0;
}

int SimEzcom::Call(EzcomCall call, int pipe)
{
    const int result = Answer(call);
    journal.Write(Format("ezcom %s pipe=%d ret=%d", CallName(call), pipe, result));
    return result;
}

int SimEzcom::TimedRpc(int pipe, int timeout)
{
    const int result = Answer(EzcomCall::TIMED_RPC_SYNC);
    journal.Write(Format("ezcom TimedRPCSync pipe=%d timeout=%d ret=%d", pipe, timeout, result));
    return result;
}

}  // namespace ProcMgr::Sim
