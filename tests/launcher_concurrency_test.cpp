// Service threads deliver every state, one outside the enumeration included, for applications they
// share, while the main thread reports on "os-memory" until they are done; then a second reporter
// registers on every device. What is checked follows from what was delivered, whatever order the
// threads ran in.
#include <atomic>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "memory_monitor/memory_monitor.h"
#include "platform/sim/control.h"
#include "proc_launcher/proc_launcher.h"

namespace ProcMgr {

struct ProcLauncherTestAccess {
    static void ReportOsMemory(ProcLauncher& launcher, int32_t event)
    {
        launcher.reporter.ReportEvent(OS_MEMORY_NODE_NAME, event);
    }
};

namespace {

constexpr int THREADS = 8;
constexpr int ROUNDS = 60;
const std::vector<std::string> APPS = {"a", "b", "c"};

TEST(LauncherConcurrency, EachChangeIsHandledWholeAndTheHalSeesOneCallAtATime)
{
    Sim::Settings settings;
    settings.halDevices = 2;
    settings.halLatencyMicroseconds = 20;
    settings.apps = {{"a", {0x1234, 0}}, {"b", {0x1234, 0}}, {"c", {0x1234, 0}}};
    Sim::Apply(settings);
    ProcLauncher launcher;
    ASSERT_EQ(launcher.Init(), 0);
    std::atomic<int> running{THREADS};
    std::vector<std::thread> threads;
    for (int t = 0; t < THREADS; ++t) {
        threads.emplace_back([t, &running] {
            for (int round = 0; round < ROUNDS; ++round) {
                for (int32_t state = 0; state <= 6; ++state) {
                    Sim::DeliverStateChange(APPS[static_cast<size_t>(t + round + state) % APPS.size()], t, state);
                }
            }
            --running;
        });
    }
    for (int reports = 0; running > 0; ++reports) {
        ProcLauncherTestAccess::ReportOsMemory(launcher, reports % 2);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    launcher.Deinit();
    SensorNodeEventReporter another;
    EXPECT_TRUE(another.RegisterSensorNode({"another", 1, 2, -1}));

    EXPECT_EQ(Sim::OverlappingHalCalls(), 0U);
    int callbacks = 0;
    int deviceCountQueries = 0;  // one per process, whichever reporter registers
    std::string lastConfigApp;
    for (const std::string& line : Sim::JournalLines()) {
        deviceCountQueries += line.rfind("hal devnum ", 0) == 0 ? 1 : 0;
        if (line.rfind("grp callback ", 0) == 0) {
            ++callbacks;
            EXPECT_NE(line.find(" result=1"), std::string::npos) << line;
        } else if (line.rfind("grp GetAppSensorConfig app=", 0) == 0) {
            lastConfigApp = line.substr(27, line.find(' ', 27) - 27);
        } else if (line.rfind("grp RestartApp app=", 0) == 0) {
            // The handling that asked for the restart also asked for the configuration, and nothing else did since.
            EXPECT_EQ(line.substr(19, line.find(' ', 19) - 19), lastConfigApp);
            lastConfigApp.clear();
        }
    }
    EXPECT_EQ(callbacks, THREADS * ROUNDS * 7);
    EXPECT_EQ(deviceCountQueries, 1);
}

}  // namespace
}  // namespace ProcMgr
