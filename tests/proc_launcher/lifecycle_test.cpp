#include <csignal>
#include <chrono>
#include <string>
#include <vector>

#include "proc_launcher/daemon.h"
#include "tests/proc_launcher/launcher_test_support.h"

namespace ProcMgr {
namespace {

using ::testing::_;
using ::testing::Field;
using ::testing::Invoke;
using ::testing::Return;

// The timeline without the lines whose presence depends on earlier tests in the same process
// (the device count is asked once per process) or that other tests check (syslog).
std::vector<std::string> CallOrder()
{
    std::vector<std::string> lines;
    for (const auto& line : Fakes::Timeline()) {
        if (line.rfind("hal devnum", 0) != 0 && line.rfind("syslog", 0) != 0) {
            lines.push_back(line);
        }
    }
    return lines;
}

// Each expected entry is a prefix of the line at the same position.
void ExpectCallOrder(const std::vector<std::string>& expectedPrefixes)
{
    const auto actual = CallOrder();
    ASSERT_EQ(actual.size(), expectedPrefixes.size()) << ::testing::PrintToString(actual);
    for (size_t i = 0; i < actual.size(); ++i) {
        EXPECT_EQ(actual[i].rfind(expectedPrefixes[i], 0), 0U) << "line " << i << ": " << actual[i];
    }
}

class LifecycleTest : public LauncherTest {
protected:
    // Stops the loop before its first tick, as a signal arriving during Run would.
    void StopDuringRun()
    {
        ON_CALL(grp, Run()).WillByDefault(Invoke([] {
            Fakes::RecordTimeline("grp Run");
            raise(SIGTERM);
            return 0;
        }));
    }
};

TEST_F(LifecycleTest, NormalRunCallsEveryStepInOrderAndExitsZero)
{
    StopDuringRun();
    EXPECT_EQ(RunDaemon(), 0);
    ExpectCallOrder({
        "log 1 0x36 [proc_launcher.cpp:",
        "grp Configure",
        "grp Start",
        "hal register dev=0 name=os-memory ret=0",
        "hal register dev=1 name=os-memory ret=0",
        "log 1 0x1000036 [proc_launcher.cpp:",
        "grp RegisterAppStateCallback",
        "grp Run",
        "grp SetRunning 1",
        "hal unregister dev=0",
        "hal unregister dev=1",
        "grp Stop",
        "log 1 0x1000036 [proc_launcher.cpp:",
        "log flush",
        "ezcom CfgFinishServer",
    });
    EXPECT_TRUE(Fakes::LogContains("]start entry..."));
    EXPECT_TRUE(Fakes::LogContains("]Register sensor node for os memory success"));
    EXPECT_TRUE(Fakes::LogContains("]proc_launcher exit."));
}

TEST_F(LifecycleTest, StartupRecordCarriesTheFixedSettings)
{
    StopDuringRun();
    EXPECT_CALL(grp, Configure(::testing::AllOf(
                         Field(&GrpOwnerStartupConfig::startupConfigPath,
                               "/etc/orv/base-plat/proc_launcher/proc_launcher_startup.yaml"),
                         Field(&GrpOwnerStartupConfig::extraPath, ""),
                         Field(&GrpOwnerStartupConfig::resourcePath, "/res/proc_launcher/ss"),
                         Field(&GrpOwnerStartupConfig::firstFlag, false),
                         Field(&GrpOwnerStartupConfig::secondFlag, true),
                         Field(&GrpOwnerStartupConfig::extraValue, 0U))))
        .WillOnce(Return(0));
    EXPECT_EQ(RunDaemon(), 0);
}

struct StartupFailure {
    const char* name;
    int configureRet;
    int startRet;
    std::vector<std::string> expectedOrder;
};

class StartupFailureTest : public LifecycleTest, public ::testing::WithParamInterface<StartupFailure> {};

TEST_P(StartupFailureTest, StopsTheServiceFlushesAndExitsOne)
{
    const auto& failure = GetParam();
    ON_CALL(grp, Configure(_)).WillByDefault(Invoke([&failure](const GrpOwnerStartupConfig&) {
        Fakes::RecordTimeline("grp Configure");
        return failure.configureRet;
    }));
    ON_CALL(grp, Start()).WillByDefault(Invoke([&failure] {
        Fakes::RecordTimeline("grp Start");
        return failure.startRet;
    }));
    EXPECT_CALL(grp, RegisterAppStateCallback(_)).Times(0);
    EXPECT_CALL(grp, Run()).Times(0);
    EXPECT_CALL(grp, Stop()).Times(1);

    EXPECT_EQ(RunDaemon(), 1);
    ExpectCallOrder(failure.expectedOrder);
    EXPECT_TRUE(Fakes::HalCalls("register").empty());
    EXPECT_EQ(Fakes::CfgFinishServerCalls(), 0);
    EXPECT_FALSE(Fakes::LogContains("proc_launcher exit."));
}

INSTANTIATE_TEST_SUITE_P(
    Launcher, StartupFailureTest,
    ::testing::Values(
        StartupFailure{"ConfigureFails", 5, 0,
                       {"log 1 0x36 [proc_launcher.cpp:", "grp Configure", "grp Stop", "log flush"}},
        StartupFailure{"StartFails", 0, 7,
                       {"log 1 0x36 [proc_launcher.cpp:", "grp Configure", "grp Start", "grp Stop", "log flush"}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(LifecycleTest, InitReturnsTheFailingStatusUnchanged)
{
    ON_CALL(grp, Start()).WillByDefault(Return(-42));
    ProcLauncher launcher;
    EXPECT_EQ(launcher.Init(), -42);
}

TEST_F(LifecycleTest, StopBeforeTheFirstTickSkipsTheLoopAndItsSleep)
{
    StopDuringRun();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(RunDaemon(), 0);
    // One tick would have slept 200 ms.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(150));
}

TEST_F(LifecycleTest, SecondStopSignalChangesNothing)
{
    StopDuringRun();
    ON_CALL(grp, SetRunning(_)).WillByDefault(Invoke([](int) {
        raise(SIGINT);
        return 0;
    }));
    EXPECT_CALL(grp, Stop()).Times(1);
    EXPECT_EQ(RunDaemon(), 0);
    EXPECT_EQ(Fakes::LogFlushCalls(), 1);
    EXPECT_EQ(Fakes::CfgFinishServerCalls(), 1);
}

TEST_F(LifecycleTest, RunLoopIgnoresSigpipe)
{
    StopDuringRun();
    ProcLauncher launcher;
    launcher.RunLoop();
    struct sigaction current {};
    ASSERT_EQ(sigaction(SIGPIPE, nullptr, &current), 0);
    EXPECT_EQ(current.sa_handler, SIG_IGN);
    EXPECT_EQ(raise(SIGPIPE), 0);  // still alive
    EXPECT_TRUE(StopRequested());
}

TEST_F(LifecycleTest, InstalledCallbackForwardsToThisLauncher)
{
    DeclareApp("camera", 0x1234, 0);
    ProcLauncher launcher;
    ASSERT_EQ(launcher.Init(), 0);
    ASSERT_TRUE(installedCallback);
    EXPECT_CALL(grp, RestartApp("camera")).WillOnce(Return(0));

    EXPECT_TRUE(installedCallback("camera", 42, HEART_BEAT_LOST));
    EXPECT_TRUE(Fakes::LogContains("Receive app state change. (name=camera,pid=42,state=HEART_BEAT_LOST)"));
    EXPECT_EQ(Fakes::HalCalls("update").size(), DEVICES);
    launcher.Deinit();
}

TEST_F(LifecycleTest, DeinitWithdrawsEveryNodeBeforeStoppingTheService)
{
    DeclareApp("camera", 0x1234, 1);
    ProcLauncher launcher;
    ASSERT_EQ(launcher.Init(), 0);
    ASSERT_TRUE(launcher.OnAppStateChange("camera", 1, SWITCH_ON));
    launcher.Deinit();

    const auto order = CallOrder();
    ASSERT_GE(order.size(), 4U);
    EXPECT_EQ(order.back(), "grp Stop");
    // camera (device 0 only) sorts before os-memory (every device).
    EXPECT_EQ(Fakes::HalCalls("unregister").size(), 1 + DEVICES);
    EXPECT_EQ(Fakes::HalCalls("unregister").front().handle, Fakes::HalCalls("register").back().handle);
}

}  // namespace
}  // namespace ProcMgr
