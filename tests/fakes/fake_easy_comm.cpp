#include "platform/easy_comm.h"
#include "tests/fakes/fakes.h"
#include "tests/fakes/state.h"

namespace Fakes {
namespace {
int Answer(const EzcomCall& call)
{
    std::function<int(const EzcomCall&)> answer;
    {
        std::lock_guard<std::mutex> lock(FakeMutex());
        State().ezcomCalls.push_back(call);
        answer = State().ezcomAnswer;
    }
    return answer ? answer(call) : 0;  // outside the lock: the answer may call the fakes
}
}  // namespace

void SetEzcomAnswer(std::function<int(const EzcomCall&)> answer)
{
    std::lock_guard<std::mutex> lock(FakeMutex());
    State().ezcomAnswer = std::move(answer);
}

std::vector<EzcomCall> EzcomCalls()
{
    return Locked(State().ezcomCalls);
}

}  // namespace Fakes

extern "C" int EzcomCfgFinishServer(void)
{
    Fakes::RecordTimeline("ezcom CfgFinishServer");
    return 0;
}

extern "C" int EzcomSendRequest(int pipe, const EzcomRequest* request)
{
    return Fakes::Answer(Fakes::EzcomCall{"SendRequest", pipe, request, nullptr, 0});
}

extern "C" int EzcomSendResponse(int pipe, const EzcomResponse* response)
{
    return Fakes::Answer(Fakes::EzcomCall{"SendResponse", pipe, nullptr, response, 0});
}

extern "C" int EzcomRPCSync(int pipe, EzcomRequest* request, EzcomResponse* response)
{
    return Fakes::Answer(Fakes::EzcomCall{"RPCSync", pipe, request, response, 0});
}

extern "C" int EzcomTimedRPCSync(int pipe, EzcomRequest* request, EzcomResponse* response, int timeout)
{
    return Fakes::Answer(Fakes::EzcomCall{"TimedRPCSync", pipe, request, response, timeout});
}

extern "C" int EzcomClosePipe(int pipe)
{
    return Fakes::Answer(Fakes::EzcomCall{"ClosePipe", pipe, nullptr, nullptr, 0});
}
