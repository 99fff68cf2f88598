// Stand-in for the platform's messaging library.
#include "platform/easy_comm.h"

#include "platform/sim/sim_export.h"
#include "platform/sim/sim_ezcom.h"

namespace {

ProcMgr::Sim::SimEzcom& Ezcom()
{
    using namespace ProcMgr::Sim;
    static SimEzcom ezcom(LoadEzcomBusyCalls(ProcessEnvironment(), StderrReporter()), ProcessJournal());
    return ezcom;
}

}  // namespace

using ProcMgr::Sim::EzcomCall;

extern "C" SIM_EXPORT int EzcomCfgFinishServer()
{
    return Ezcom().FinishServer();
}

extern "C" SIM_EXPORT int EzcomSendRequest(int pipe, const EzcomRequest* /*request*/)
{
    return Ezcom().Call(EzcomCall::SEND_REQUEST, pipe);
}

extern "C" SIM_EXPORT int EzcomSendResponse(int pipe, const EzcomResponse* /*response*/)
{
    return Ezcom().Call(EzcomCall::SEND_RESPONSE, pipe);
}

extern "C" SIM_EXPORT int EzcomRPCSync(int pipe, EzcomRequest* /*request*/, EzcomResponse* /*response*/)
{
    return Ezcom().Call(EzcomCall::RPC_SYNC, pipe);
}

extern "C" SIM_EXPORT int EzcomTimedRPCSync(int pipe, EzcomRequest* /*request*/, EzcomResponse* /*response*/,
                                            int timeout)
{
    return Ezcom().TimedRpc(pipe, timeout);
}

extern "C" SIM_EXPORT int EzcomClosePipe(int pipe)
{
    return Ezcom().Call(EzcomCall::CLOSE_PIPE, pipe);
}
