// Cost of the sensor node reporter on a large machine: 1000 nodes registered on 128 devices, an
// event with and without a change, and the unregistration of that whole registry, on the quiet
// stand-ins. syslog is the C library's, as on a board: its records are part of the cost.
#include <benchmark/benchmark.h>
#include <memory>
#include <string>
#include <vector>

#include "bench/quiet_platform.h"
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

// The device count is asked once per process, by the first registration, with 128 devices set.
class LargeRegistry {
public:
    LargeRegistry() : configs(NodeConfigs())
    {
        Sim::Settings settings = QuietSettings();
        settings.halDevices = DEVICES;
        Sim::Apply(settings);
    }

    // false when a node was refused.
    bool RegisterAll(SensorNodeEventReporter& reporter) const
    {
        bool registered = true;
        for (const auto& config : configs) {
            registered = reporter.RegisterSensorNode(config) && registered;
        }
        return registered;
    }

    std::unique_ptr<SensorNodeEventReporter> FullReporter() const
    {
        auto reporter = std::make_unique<SensorNodeEventReporter>();
        RegisterAll(*reporter);
        return reporter;
    }

    const std::string& Name(size_t node) const { return configs[node % NODES].name; }

private:
    std::vector<SensorNodeConfig> configs;
};

void RegisterThousandNodesOn128Devices(benchmark::State& state)
{
    LargeRegistry registry;
    bool registered = true;
    for (auto _ : state) {
        state.PauseTiming();
        auto reporter = std::make_unique<SensorNodeEventReporter>();
        state.ResumeTiming();
        registered = registry.RegisterAll(*reporter) && registered;
        state.PauseTiming();
        reporter.reset();  // frees memory only: no HAL call
        state.ResumeTiming();
    }
    if (!registered) {
        state.SkipWithError("a node was refused");
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(NODES));
}
BENCHMARK(RegisterThousandNodesOn128Devices)->Unit(benchmark::kMillisecond);

// With a change, every report flips its node's event, so each reaches the node's 128 devices;
// without, every report repeats the node's last event, which the reporter keeps from the HAL.
void ReportEvent(benchmark::State& state, bool change)
{
    LargeRegistry registry;
    const auto reporter = registry.FullReporter();
    size_t report = 0;
    for (auto _ : state) {
        const bool raise = change && (report / NODES) % 2 == 0;
        reporter->ReportEvent(registry.Name(report), raise ? 1 : 0);
        ++report;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK_CAPTURE(ReportEvent, with_change, true)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(ReportEvent, without_change, false);

void UnregisterAllOfThousandNodesOn128Devices(benchmark::State& state)
{
    LargeRegistry registry;
    bool unregistered = true;
    for (auto _ : state) {
        state.PauseTiming();
        const auto reporter = registry.FullReporter();
        state.ResumeTiming();
        unregistered = reporter->UnregisterAllSensorNodes() && unregistered;
    }
    if (!unregistered) {
        state.SkipWithError("a HAL unregistration failed");
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(NODES));
}
BENCHMARK(UnregisterAllOfThousandNodesOn128Devices)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace ProcMgr::Bench
