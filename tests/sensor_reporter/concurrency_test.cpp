#include <gmock/gmock.h>
#include <thread>

#include "sensor_reporter/sensor_node_event_reporter.h"
#include "tests/fakes/fakes.h"

namespace {

constexpr int WORKERS = 4;
constexpr int ROUNDS = 150;
constexpr int SHARED_CHANGES = 300;
constexpr uint32_t DEVICES = 2;

ProcMgr::SensorNodeConfig EveryDevice(const std::string& name)
{
    return {name, 0x0617, 0x27, -1};
}

// Workers cycle their own nodes while one thread toggles a shared node: per handle, the HAL must see
// exactly the changes of its node and then its unregistration.
TEST(ReporterConcurrency, ThreadsOnOwnAndSharedNodesLoseNothingAndRepeatNothing)
{
    Fakes::ResetAll();
    Fakes::SetHal({DEVICES, 0, {}});
    ProcMgr::DeviceCount deviceCount;
    ProcMgr::SensorNodeEventReporter reporter(deviceCount);

    std::vector<std::thread> threads;
    threads.emplace_back([&reporter] {
        EXPECT_TRUE(reporter.RegisterSensorNode(EveryDevice("os-memory")));
        for (int change = 0; change < SHARED_CHANGES; ++change) {
            reporter.ReportEvent("os-memory", change % 2 == 0 ? 1 : 0);
            reporter.ReportEvent("os-memory", change % 2 == 0 ? 1 : 0);
        }
    });
    for (int worker = 0; worker < WORKERS; ++worker) {
        threads.emplace_back([&reporter, name = "app-" + std::to_string(worker)] {
            for (int round = 0; round < ROUNDS; ++round) {
                EXPECT_TRUE(reporter.RegisterSensorNode(EveryDevice(name)));
                for (const int32_t event : {1, 1, 0}) {
                    reporter.ReportEvent(name, event);
                }
                EXPECT_TRUE(reporter.UnregisterSensorNode(name));
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_TRUE(reporter.UnregisterAllSensorNodes());

    EXPECT_EQ(Fakes::HalCalls("devnum").size(), 1U) << "first callers raced on the device count";
    std::map<uint64_t, std::vector<std::string>> history;
    for (const auto& call : Fakes::HalCalls()) {
        if (call.op == "update" || call.op == "unregister") {
            history[call.handle].push_back(call.op + " " + std::to_string(call.event));
        }
    }
    std::vector<std::string> sharedHistory;
    for (int change = 0; change < SHARED_CHANGES; ++change) {
        sharedHistory.emplace_back(change % 2 == 0 ? "update 1" : "update 0");
    }
    sharedHistory.emplace_back("unregister 0");
    const std::vector<std::string> ownHistory{"update 1", "update 0", "unregister 0"};
    const auto registrations = Fakes::HalCalls("register");
    EXPECT_EQ(registrations.size(), (WORKERS * ROUNDS + 1) * DEVICES);
    EXPECT_EQ(history.size(), registrations.size()) << "a handle was lost or invented";
    for (const auto& call : registrations) {
        const std::string name = reinterpret_cast<const char*>(call.record.data());
        EXPECT_EQ(history[call.handle], name == "os-memory" ? sharedHistory : ownHistory) << name << "@" << call.dev;
    }
}

}  // namespace
