// Threads register, report on and unregister nodes of their own while the main thread reports on
// "os-memory" until they are done: the reporter serialises its HAL calls, so that none begins while
// another runs. (The launcher's own serialisation of state changes is the long run's to check.)
#include <atomic>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "platform/sim/control.h"
#include "sensor_reporter/sensor_node_event_reporter.h"

namespace ProcMgr {
namespace {

TEST(ReporterConcurrency, TheHalSeesOneCallAtATime)
{
    Sim::Settings settings;
    settings.halDevices = 2;
    settings.halLatencyMicroseconds = 20;
    Sim::Apply(settings);
    SensorNodeEventReporter reporter;
    ASSERT_TRUE(reporter.RegisterSensorNode({"os-memory", 0x0617, 0xD0, -1}));
    std::atomic<int> running{8};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([t, &reporter, &running] {
            const std::string name = "app" + std::to_string(t);
            for (int change = 0; change < 200; ++change) {
                reporter.RegisterSensorNode({name, 0x1234, 0x27, 0});
                reporter.ReportEvent(name, 1);
                reporter.UnregisterSensorNode(name);
            }
            --running;
        });
    }
    for (int reports = 0; running > 0; ++reports) {
        reporter.ReportEvent("os-memory", reports % 2);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(Sim::OverlappingHalCalls(), 0U);
}

}  // namespace
}  // namespace ProcMgr
