// Service threads deliver thousands of state changes while the main thread reports on
// "os-memory" and then shuts down: nothing may race, deadlock or send the HAL a non-change.
#include <atomic>
#include <chrono>
#include <map>
#include <thread>

#include "memory_monitor/memory_monitor.h"
#include "tests/proc_launcher/launcher_test_support.h"

namespace ProcMgr {
namespace {

constexpr int APPS = 12;

TEST_F(LauncherTest, ConcurrentStateChangesMemoryReportsAndShutdown)
{
    for (int app = 0; app < APPS; ++app) {
        DeclareApp("app" + std::to_string(app), 0x100, app % 2);
    }
    ProcLauncher launcher;
    ASSERT_EQ(launcher.Init(), 0);
    std::atomic<bool> stop{false};
    std::vector<std::thread> service;
    for (int t = 0; t < 4; ++t) {
        service.emplace_back([&, t] {
            for (int i = 0; i < 2000 && !stop.load(); ++i) {
                const auto state = static_cast<AppReportState>((i * 7 + t) % 7);  // 6 is outside the enumeration
                installedCallback("app" + std::to_string((i + t) % APPS), 1000 + t, state);
            }
        });
    }
    // Threads start slowly under an emulator; the reports and the shutdown must overlap deliveries,
    // and an application's event must reach the HAL before the shutdown refuses new nodes.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (Fakes::HalCalls("update").empty() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
    }
    for (int i = 0; i < 500; ++i) {
        ProcLauncherTestAccess::Reporter(launcher).ReportEvent(OS_MEMORY_NODE_NAME, i % 2);
    }
    launcher.Deinit();
    stop.store(true);
    for (auto& thread : service) {
        thread.join();
    }
    // Handles 1..DEVICES are "os-memory", registered first by Init. Every handle sees only
    // changes, starting from the cleared state, and is unregistered at most once.
    std::map<uint64_t, int32_t> lastEvent;
    std::map<uint64_t, int> unregistrations;
    size_t osMemoryUpdates = 0;
    for (const auto& call : Fakes::HalCalls()) {
        if (call.op == "unregister") {
            EXPECT_EQ(++unregistrations[call.handle], 1) << "handle " << call.handle;
        } else if (call.op == "update") {
            const bool osMemory = call.handle <= DEVICES;
            osMemoryUpdates += osMemory ? 1 : 0;
            EXPECT_EQ(call.fault, osMemory ? 1 : 0);
            auto entry = lastEvent.emplace(call.handle, 0).first;
            EXPECT_NE(entry->second, call.event) << "handle " << call.handle << " got the same event twice";
            entry->second = call.event;
        }
    }
    // 500 alternating reports starting with 0: 499 changes on each device.
    EXPECT_EQ(osMemoryUpdates, 499 * DEVICES);
    EXPECT_GT(Fakes::HalCalls("update").size(), osMemoryUpdates);  // the installed callback reached the launcher
}

}  // namespace
}  // namespace ProcMgr
