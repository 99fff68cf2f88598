#include <chrono>
#include <csignal>
#include <string>
#include <vector>

#include "proc_launcher/daemon.h"
#include "tests/proc_launcher/launcher_test_support.h"

namespace ProcMgr {
namespace {

using ::testing::_;

const std::string START_LOG = "log 1 0x36 [proc_launcher.cpp:";
const std::string RUN_LOG = "log 1 0x1000036 [proc_launcher.cpp:";

// Each expected entry is a prefix of the timeline line at the same position. Left out: the
// device count (asked once per process) and syslog (the reporter's tests check it).
void ExpectCallOrder(const std::vector<std::string>& expectedPrefixes)
{
    std::vector<std::string> actual;
    for (const auto& line : Fakes::Timeline()) {
        if (line.rfind("hal devnum", 0) != 0 && line.rfind("syslog", 0) != 0) {
            actual.push_back(line);
        }
    }
    std::vector<::testing::Matcher<std::string>> expected;
    for (const auto& prefix : expectedPrefixes) {
        expected.push_back(::testing::StartsWith(prefix));
    }
    EXPECT_THAT(actual, ::testing::ElementsAreArray(expected));
}

TEST_F(LauncherTest, StopBeforeTheFirstTickRunsEveryStepInOrderOnceIgnoresSigpipeAndExitsZero)
{
    ON_CALL(grp, SetRunning(_)).WillByDefault([](int running) {
        raise(SIGINT);  // a second stop signal changes nothing
        return Records("grp SetRunning " + std::to_string(running))();
    });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(RunDaemon(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(150));  // a tick sleeps 200
    ExpectCallOrder({
        START_LOG,
        "grp Configure /etc/orv/base-plat/proc_launcher/proc_launcher_startup.yaml [] /res/proc_launcher/ss 010",
        "grp Start",
        "hal register dev=0 name=os-memory ret=0",
        "hal register dev=1 name=os-memory ret=0",
        RUN_LOG,
        "grp RegisterAppStateCallback",
        "grp Run",
        "grp SetRunning 1",
        "hal unregister dev=0",
        "hal unregister dev=1",
        "grp Stop",
        RUN_LOG,
        "log flush",
        "ezcom CfgFinishServer",
    });
    EXPECT_TRUE(Fakes::LogContains("]start entry..."));
    EXPECT_TRUE(Fakes::LogContains("]Register sensor node for os memory success"));
    EXPECT_TRUE(Fakes::LogContains("]proc_launcher exit."));
    struct sigaction sigpipe {};
    ASSERT_EQ(sigaction(SIGPIPE, nullptr, &sigpipe), 0);
    EXPECT_EQ(sigpipe.sa_handler, SIG_IGN);
}

TEST_F(LauncherTest, FailedConfigureOrStartStopsTheServiceFlushesAndExitsOne)
{
    struct Row {
        const char* name;
        int configureRet;
        int startRet;
        std::vector<std::string> expectedOrder;
    };
    const std::vector<Row> rows{
        {"configure fails", 5, 0, {START_LOG, "grp Configure", "grp Stop", "log flush"}},
        {"start fails", 0, -42, {START_LOG, "grp Configure", "grp Start", "grp Stop", "log flush"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Fakes::ResetAll();
        ON_CALL(grp, Configure(_)).WillByDefault(Records("grp Configure", row.configureRet));
        ON_CALL(grp, Start()).WillByDefault(Records("grp Start", row.startRet));
        EXPECT_CALL(grp, Run()).Times(0);
        EXPECT_EQ(RunDaemon(), 1);
        ExpectCallOrder(row.expectedOrder);
        ProcLauncher launcher;
        EXPECT_EQ(launcher.Init(), row.configureRet != 0 ? row.configureRet : row.startRet);
    }
}

}  // namespace
}  // namespace ProcMgr
