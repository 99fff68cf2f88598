#include <gmock/gmock.h>

#include <thread>

#include "tests/sensor_reporter/reporter_test_support.h"

namespace ReporterTests {
namespace {

constexpr int WORKERS = 4;
constexpr int ROUNDS = 150;
constexpr int SHARED_CHANGES = 300;
constexpr uint32_t DEVICES = 2;

// Per handle, what the HAL saw happen to it, in order.
std::map<uint64_t, std::vector<std::string>> HistoryByHandle()
{
    std::map<uint64_t, std::vector<std::string>> history;
    for (const auto& call : Fakes::HalCalls()) {
        if (call.op == "update") {
            history[call.handle].push_back("update " + std::to_string(call.event));
        } else if (call.op == "unregister") {
            history[call.handle].push_back("unregister");
        }
    }
    return history;
}

void CycleOwnNode(ProcMgr::SensorNodeEventReporter& reporter, const std::string& name)
{
    for (int round = 0; round < ROUNDS; ++round) {
        EXPECT_TRUE(reporter.RegisterSensorNode(Node(name, EVERY_DEVICE, OS_NODE_TYPE, APP_SENSOR_TYPE)));
        reporter.ReportEvent(name, 1);
        reporter.ReportEvent(name, 1);
        reporter.ReportEvent(name, 0);
        EXPECT_TRUE(reporter.UnregisterSensorNode(name));
    }
}

void ToggleSharedNode(ProcMgr::SensorNodeEventReporter& reporter)
{
    for (int change = 0; change < SHARED_CHANGES; ++change) {
        const int32_t event = change % 2 == 0 ? 1 : 0;
        reporter.ReportEvent("os-memory", event);
        reporter.ReportEvent("os-memory", event);
    }
}

TEST(ReporterConcurrency, ThreadsOnOwnAndSharedNodesLoseNothingAndRepeatNothing)
{
    Fakes::ResetAll();
    Fakes::HalSetup setup;
    setup.devices = DEVICES;
    Fakes::SetHal(setup);
    ProcMgr::DeviceCount deviceCount;
    ProcMgr::SensorNodeEventReporter reporter(deviceCount);

    std::vector<std::thread> threads;
    threads.emplace_back([&reporter] {
        EXPECT_TRUE(reporter.RegisterSensorNode(Node("os-memory", EVERY_DEVICE)));
        ToggleSharedNode(reporter);
    });
    for (int worker = 0; worker < WORKERS; ++worker) {
        threads.emplace_back([&reporter, worker] { CycleOwnNode(reporter, "app-" + std::to_string(worker)); });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_TRUE(reporter.UnregisterAllSensorNodes());

    EXPECT_EQ(Fakes::HalCalls("devnum").size(), 1U) << "first callers raced on the device count";
    const auto registrations = Fakes::HalCalls("register");
    EXPECT_EQ(registrations.size(), (WORKERS * ROUNDS + 1) * DEVICES);
    std::vector<std::string> sharedHistory;
    for (int change = 0; change < SHARED_CHANGES; ++change) {
        sharedHistory.push_back(change % 2 == 0 ? "update 1" : "update 0");
    }
    sharedHistory.push_back("unregister");
    const std::vector<std::string> ownHistory{"update 1", "update 0", "unregister"};

    const auto history = HistoryByHandle();
    EXPECT_EQ(history.size(), registrations.size()) << "a handle was lost or invented";
    for (const auto& call : registrations) {
        const auto found = history.find(call.handle);
        ASSERT_NE(found, history.end()) << RecordName(call) << " on device " << call.dev;
        EXPECT_EQ(found->second, RecordName(call) == "os-memory" ? sharedHistory : ownHistory)
            << RecordName(call) << " on device " << call.dev;
    }
}

}  // namespace
}  // namespace ReporterTests
