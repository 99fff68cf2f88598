#include "platform/easy_comm.h"
#include "tests/fakes/fakes.h"
#include "tests/fakes/state.h"

namespace Fakes {
namespace {
struct EzcomState {
    std::function<int(const EzcomCall&)> answer;
    std::vector<EzcomCall> calls;
    int finishServerCalls = 0;
};
EzcomState& Ezcom()
{
    static EzcomState state;
    return state;
}

int Answer(const EzcomCall& call)
{
    std::function<int(const EzcomCall&)> answer;
    {
        std::lock_guard<std::mutex> lock(FakeMutex());
        Ezcom().calls.push_back(call);
        answer = Ezcom().answer;
    }
    return answer ? answer(call) : 0;
}
}  // namespace

void ResetEzcomLocked()
{
    Ezcom() = EzcomState{};
}

void SetEzcomAnswer(std::function<int(const EzcomCall&)> answer)
{
    std::lock_guard<std::mutex> lock(FakeMutex());
    Ezcom().answer = std::move(answer);
}

std::vector<EzcomCall> EzcomCalls()
{
    std::lock_guard<std::mutex> lock(FakeMutex());
    return Ezcom().calls;
}

int CfgFinishServerCalls()
{
    std::lock_guard<std::mutex> lock(FakeMutex());
    return Ezcom().finishServerCalls;
}

}  // namespace Fakes

extern "C" int EzcomCfgFinishServer(void)
{
    std::lock_guard<std::mutex> lock(Fakes::FakeMutex());
    ++Fakes::Ezcom().finishServerCalls;
    Fakes::RecordTimelineLocked("ezcom CfgFinishServer");
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
