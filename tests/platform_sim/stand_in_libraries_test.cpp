// The stand-in libraries as a program links them: each reads its PLATFORM_SIM_* variables once per
// process, so main sets them before any call, with a journal and stderr of this process's own.
#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <regex>
#include <unistd.h>

#include "platform/easy_comm.h"
#include "platform/group_owner.h"
#include "platform/slog.h"
#include "platform/tarsel_hal.h"
#include "tests/platform_sim/sim_test_support.h"

namespace {

SimTest::Scratch* scratch = nullptr;  // made by main before any test

TEST(StandInLibraries, ReadTheirVariablesOncePerProcessAndJournalEveryCall)
{
    using namespace ProcMgr;
    EXPECT_EQ(std::vector<int>({CheckLogLevel(0x36, 1), CheckLogLevel(0x36, 2), CheckLogLevel(0x1000036, 3)}),
              std::vector<int>({0, 1, 0}));
    DlogRecord(0x36, 2, "[%s:%d]start entry...", "proc_launcher.cpp", 41);
    DlogRecord(0x36, 1, "quiet");
    DlogRecord(0x1000036, 3, "run\tlog");
    DlogFlush();
    uint32_t counts[2] = {99, 99};
    EXPECT_EQ(drvGetDevNum(&counts[0]) + drvGetDevNum(&counts[1]) + halSensorNodeUpdateState(1, 2, 1, 1), 7);
    EXPECT_EQ(counts[0] + counts[1], 2U);
    EXPECT_EQ(std::vector<int>({EzcomSendRequest(1, nullptr), EzcomClosePipe(1), EzcomSendRequest(1, nullptr),
                                EzcomSendRequest(1, nullptr)}),
              std::vector<int>({-11, -16, -11, 0}));
    ProcMgrGrpOwner* owner = ProcMgrGrpOwner::GetInstance();
    ASSERT_EQ(owner, ProcMgrGrpOwner::GetInstance());
    EXPECT_EQ(owner->Configure(GrpOwnerStartupConfig{"/s.yaml", "x", "/res", true, false, 3}), 4);
    std::promise<bool> declared;
    owner->RegisterAppStateCallback([&declared](const std::string& name, int, AppReportState) {
        AppSensorConfig config;
        const int result = ProcMgrGrpOwner::GetInstance()->GetAppSensorConfig(name, config);
        declared.set_value(result == 0 && config.nodeType == 0x27);
        return true;
    });
    std::future<bool> delivered = declared.get_future();
    ASSERT_EQ(delivered.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    EXPECT_TRUE(delivered.get());
    owner->Stop();
    const std::string configureLine =
        "grp Configure startupConfigPath=/s.yaml extraPath=x resourcePath=/res firstFlag=1 secondFlag=0 extraValue=3 "
        "ret=4";
    EXPECT_EQ(scratch->Lines("journal"),
              (std::vector<std::string>{"log 2 0x36 [proc_launcher.cpp:41]start entry...", "log 1 0x36 quiet",
                                        "log 3 0x1000036 run\\tlog", "log flush", "hal devnum ret=0 count=1",
                                        "hal devnum ret=0 count=1", "hal update dev=1 handle=2 fault=1 event=1 ret=7",
                                        "ezcom SendRequest pipe=1 ret=-11", "ezcom ClosePipe pipe=1 ret=-16",
                                        "ezcom SendRequest pipe=1 ret=-11", "ezcom SendRequest pipe=1 ret=0",
                                        configureLine, "grp RegisterAppStateCallback",
                                        "grp GetAppSensorConfig app=camera ret=0 nodeType=0x27 reportScope=1",
                                        "grp callback app=camera pid=5 state=4 result=1", "grp Stop"}));
    const std::vector<std::string> stderrLines = scratch->Lines("stderr");
    ASSERT_EQ(stderrLines.size(), 2U);  // no journal line and no record that fails the level or run-log setting
    EXPECT_TRUE(std::regex_match(stderrLines[0], std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} WARN  mod=0x36 )"
                                                            R"(\[proc_launcher\.cpp:41\]start entry\.\.\.)")))
        << stderrLines[0];
    EXPECT_EQ(stderrLines[1], "sim: PLATFORM_SIM_HAL_DEVICES='abc' is not an integer in 0..4294967295; using 1");
}

}  // namespace

// An exception while setting up ends the test run, which is what it should do.
int main(int argc, char** argv)  // NOLINT(bugprone-exception-escape)
{
    ::testing::InitGoogleTest(&argc, argv);
    static SimTest::Scratch dir;  // outlives every test, and main's frame, which scratch must not outlive
    scratch = &dir;
    // clang-format off
    const std::pair<const char*, std::string> variables[] = {
        {"PLATFORM_SIM_JOURNAL", dir.File("journal")}, {"PLATFORM_SIM_LOG_LEVEL", "2"}, {"PLATFORM_SIM_RUNLOG", "0"},
        {"PLATFORM_SIM_HAL_DEVICES", "abc"}, {"PLATFORM_SIM_HAL_FAIL", "update@1"}, {"PLATFORM_SIM_EZCOM_BUSY", "2"},
        {"PLATFORM_SIM_GRP_CONFIGURE_RET", "4"},
        {"PLATFORM_SIM_GRP_SCRIPT", dir.Write("script", "app camera 0x27 1\nstate camera 5 ABNORMAL_EXIT\n")}};
    // clang-format on
    for (const auto& [name, value] : variables) {
        setenv(name, value.c_str(), 1);  // NOLINT(concurrency-mt-unsafe): no other thread yet
    }
    const ProcMgr::Sim::UniqueFd stderrFile(open(dir.File("stderr").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644));
    dup2(stderrFile.Get(), STDERR_FILENO);
    return RUN_ALL_TESTS();
}
