// The messaging stand-in: each pipe function answers its transient code for its first N calls
// (or always, for a negative N), then 0.
#ifndef PLATFORM_SIM_SIM_EZCOM_H
#define PLATFORM_SIM_SIM_EZCOM_H

#include <array>
#include <atomic>
#include <cstdint>

#include "platform/sim/sim_output.h"
#include "platform/sim/sim_settings.h"

namespace ProcMgr::Sim {

enum class EzcomCall { SEND_REQUEST, SEND_RESPONSE, RPC_SYNC, TIMED_RPC_SYNC, CLOSE_PIPE };
constexpr size_t EZCOM_CALL_COUNT = 5;

// PLATFORM_SIM_EZCOM_BUSY.
int64_t LoadEzcomBusyCalls(const EnvLookup& env, const Reporter& report);

class SimEzcom {
public:
    SimEzcom(int64_t busy, LineSink journalSink) : busyCalls(busy), journal(std::move(journalSink)) {}

    int FinishServer() const;
    // Every pipe function but the timed RPC; the journal names the function.
    int Call(EzcomCall call, int pipe);
    int TimedRpc(int pipe, int timeout);

private:
    int Answer(EzcomCall call);

    int64_t busyCalls;
    LineSink journal;
    // Counted per function, so that a retry loop on one function never uses up another's budget.
    std::array<std::atomic<uint64_t>, EZCOM_CALL_COUNT> callCounts{};
};

}  // namespace ProcMgr::Sim

#endif
