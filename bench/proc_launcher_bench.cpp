// Cost of the launcher's two hot paths: the memory check on a loop tick when no check is due (paid
// five times a second for the daemon's whole life), and the handling of application state changes
// delivered by one or by eight service threads at once.
#include <benchmark/benchmark.h>
#include <memory>
#include <string>

#include "bench/operation_probes.h"
#include "bench/quiet_platform.h"
#include "proc_launcher/proc_launcher.h"

namespace ProcMgr::Bench {
namespace {

// The launcher's detector is the process's own: its first call starts the 60 s period, so this
// benchmark must run within 60 s of the process start, which it does as the first one registered.
void CheckOsMemoryIdleTick(benchmark::State& state)
{
    ProcLauncher launcher;
    launcher.CheckOsMemory();
    const OperationCounts before = OperationsOnThisThread();
    for (auto _ : state) {
        launcher.CheckOsMemory();
    }
    const OperationCounts made = OperationsSince(before);
    const auto perTick = [](uint64_t count) {
        return benchmark::Counter(static_cast<double>(count), benchmark::Counter::kAvgIterations);
    };
    state.counters["allocations"] = perTick(made.allocations);
    state.counters["locks"] = perTick(made.locks);
    state.counters["file_opens"] = perTick(made.fileOpens);
    if (made.fileOpens != 0) {
        state.SkipWithError("a check came due: the idle ticks must run within 60 s of the process start");
    } else if (made.allocations != 0 || made.locks != 0) {
        state.SkipWithError("an idle tick allocated or locked");
    }
}
BENCHMARK(CheckOsMemoryIdleTick);

// One launcher per run, shared by its threads; thread 0 makes it before the loop's start barrier
// and drops it after the end barrier.
std::unique_ptr<ProcLauncher> sharedLauncher;

// Each thread flips its own application between a lost and a recovered heartbeat, so every
// delivery is a change that reaches the HAL, and every second one asks for a restart; a handled
// change answers true only when the node is registered and the restart accepted.
void OnAppStateChange(benchmark::State& state)
{
    if (state.thread_index() == 0) {
        Sim::Settings settings = QuietSettings();
        for (int thread = 0; thread < state.threads(); ++thread) {
            settings.apps["app" + std::to_string(thread)] = {0x0100, 1};  // device 0 only
        }
        Sim::Apply(settings);
        sharedLauncher = std::make_unique<ProcLauncher>();
    }
    const std::string app = "app" + std::to_string(state.thread_index());
    bool lost = true;
    uint64_t refused = 0;
    for (auto _ : state) {
        if (!sharedLauncher->OnAppStateChange(app, 1000, lost ? HEART_BEAT_LOST : HEART_BEAT_RECOVERY)) {
            ++refused;
        }
        lost = !lost;
    }
    if (refused != 0) {
        state.SkipWithError("a change was refused: the node was not registered, or a restart failed");
    }
    state.SetItemsProcessed(state.iterations());
    if (state.thread_index() == 0) {
        sharedLauncher.reset();
    }
}
BENCHMARK(OnAppStateChange)->Threads(1)->Threads(8)->UseRealTime();

}  // namespace
}  // namespace ProcMgr::Bench
