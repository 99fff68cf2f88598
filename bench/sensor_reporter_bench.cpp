// Cost of the sensor node reporter on a large machine: 1000 nodes registered on 128 devices, an
// event with and without a change, and the unregistration of that whole registry. The HAL and
// syslog only count (bench/counting_platform.h), so the figures are the reporter's own.
#include <benchmark/benchmark.h>
#include <memory>
#include <string>
#include <vector>

#include "bench/counting_platform.h"
#include "sensor_reporter/sensor_node_event_reporter.h"

namespace ProcMgr::Bench {
namespace {

constexpr uint32_t DEVICES = 128;
constexpr size_t NODES = 1000;
constexpr int32_t EVERY_DEVICE = -1;

// Names of up to 19 bytes, as the HAL record allows.
std::vector<SensorNodeConfig> NodeConfigs()
{
    std::vector<SensorNodeConfig> configs;
    for (size_t node = 0; node < NODES; ++node) {
        configs.push_back({"app-node-" + std::to_string(node), 0x0100, 0x27, EVERY_DEVICE});
    }
    return configs;
}

// The device count is asked once per DeviceCount, so each registry asks it on its first node.
class LargeRegistry {
public:
    LargeRegistry() : configs(NodeConfigs()) { SetDeviceCount(DEVICES); }

    std::unique_ptr<SensorNodeEventReporter> EmptyReporter()
    {
        return std::make_unique<SensorNodeEventReporter>(devices);
    }

    void RegisterAll(SensorNodeEventReporter& reporter) const
    {
        for (const auto& config : configs) {
            reporter.RegisterSensorNode(config);
        }
    }

    std::unique_ptr<SensorNodeEventReporter> FullReporter()
    {
        auto reporter = EmptyReporter();
        RegisterAll(*reporter);
        return reporter;
    }

    const std::string& Name(size_t node) const { return configs[node % NODES].name; }

private:
    DeviceCount devices;
    std::vector<SensorNodeConfig> configs;
};

void CheckCalls(benchmark::State& state, uint64_t made, uint64_t perIteration, const char* failure)
{
    if (made != perIteration * static_cast<uint64_t>(state.iterations())) {
        state.SkipWithError(failure);
    }
}

void RegisterThousandNodesOn128Devices(benchmark::State& state)
{
    LargeRegistry registry;
    const PlatformCalls before = CallsOnThisThread();
    for (auto _ : state) {
        state.PauseTiming();
        auto reporter = registry.EmptyReporter();
        state.ResumeTiming();
        registry.RegisterAll(*reporter);
        state.PauseTiming();
        reporter.reset();  // frees memory only: no HAL call
        state.ResumeTiming();
    }
    CheckCalls(state, CallsOnThisThread().halRegistrations - before.halRegistrations, NODES * DEVICES,
               "not every node reached every device");
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(NODES));
}
BENCHMARK(RegisterThousandNodesOn128Devices)->Unit(benchmark::kMillisecond);

// With a change, every report flips its node's event, so each reaches the node's 128 devices;
// without, every report repeats the node's last event, which the reporter keeps from the HAL.
void ReportEvent(benchmark::State& state, bool change)
{
    LargeRegistry registry;
    const auto reporter = registry.FullReporter();
    const PlatformCalls before = CallsOnThisThread();
    size_t report = 0;
    for (auto _ : state) {
        const bool raise = change && (report / NODES) % 2 == 0;
        reporter->ReportEvent(registry.Name(report), raise ? 1 : 0);
        ++report;
    }
    CheckCalls(state, CallsOnThisThread().halUpdates - before.halUpdates, change ? DEVICES : 0,
               change ? "a changed event did not reach every device once" : "an unchanged event reached the HAL");
}
BENCHMARK_CAPTURE(ReportEvent, with_change, true)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(ReportEvent, without_change, false);

void UnregisterAllOfThousandNodesOn128Devices(benchmark::State& state)
{
    LargeRegistry registry;
    const PlatformCalls before = CallsOnThisThread();
    for (auto _ : state) {
        state.PauseTiming();
        const auto reporter = registry.FullReporter();
        state.ResumeTiming();
        benchmark::DoNotOptimize(reporter->UnregisterAllSensorNodes());
    }
    CheckCalls(state, CallsOnThisThread().halUnregistrations - before.halUnregistrations, NODES * DEVICES,
               "not every handle was unregistered once");
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(NODES));
}
BENCHMARK(UnregisterAllOfThousandNodesOn128Devices)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace ProcMgr::Bench
