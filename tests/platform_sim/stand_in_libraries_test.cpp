// The stand-in libraries as a program sees them: each reads its PLATFORM_SIM_* variables once per
// process, so main sets them before any call, with a journal and stderr of this process's own.
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <mutex>
#include <unistd.h>

#include "platform/easy_comm.h"
#include "platform/group_owner.h"
#include "platform/slog.h"
#include "platform/tarsel_hal.h"
#include "tests/platform_sim/sim_test_support.h"

namespace {

constexpr const char* JOURNAL_VARIABLE = "PLATFORM_SIM_JOURNAL";

std::string JournalPath()
{
    return getenv(JOURNAL_VARIABLE);  // NOLINT(concurrency-mt-unsafe): set by main before any thread
}

// Next to the journal, in the directory main made for this process.
std::string StderrPath()
{
    const std::string journal = JournalPath();
    return journal.substr(0, journal.rfind('/')) + "/stderr";
}

size_t CountContaining(const std::vector<std::string>& lines, const std::string& needle)
{
    return static_cast<size_t>(std::count_if(
        lines.begin(), lines.end(), [&](const std::string& line) { return line.find(needle) != std::string::npos; }));
}

bool Contains(const std::vector<std::string>& lines, const std::string& line)
{
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

TEST(SlogLibrary, FiltersByLevelAndRunLogAndJournalsFormattedRecords)
{
    EXPECT_EQ(CheckLogLevel(0x36, 1), 0);
    EXPECT_EQ(CheckLogLevel(0x36, 2), 1);
    EXPECT_EQ(CheckLogLevel(0x1000036, 3), 0);
    DlogRecord(0x36, 2, "[%s:%d]start entry...", "proc_launcher.cpp", 41);
    DlogFlush();
    const std::vector<std::string> journal = SimTest::ReadLines(JournalPath());
    EXPECT_TRUE(Contains(journal, "log 2 0x36 [proc_launcher.cpp:41]start entry...")) << journal.size();
    EXPECT_TRUE(Contains(journal, "log flush"));
    EXPECT_EQ(CountContaining(SimTest::ReadLines(StderrPath()), "WARN  mod=0x36 [proc_launcher.cpp:41]start entry..."),
              1U);
}

TEST(HalLibrary, MalformedDeviceCountIsReportedOnceAndDefaulted)
{
    for (int call = 0; call < 2; ++call) {
        uint32_t count = 99;
        EXPECT_EQ(drvGetDevNum(&count), 0);
        EXPECT_EQ(count, 1U);
    }
    EXPECT_EQ(CountContaining(SimTest::ReadLines(StderrPath()), "sim: PLATFORM_SIM_HAL_DEVICES='abc' is not"), 1U);
    EXPECT_EQ(CountContaining(SimTest::ReadLines(JournalPath()), "hal devnum ret=0 count=1"), 2U);
}

TEST(HalLibrary, FailureListAppliesToTheNamedDevice)
{
    EXPECT_EQ(halSensorNodeUpdateState(0, 1, 1, 1), 0);
    EXPECT_EQ(halSensorNodeUpdateState(1, 2, 1, 1), 7);
    EXPECT_TRUE(Contains(SimTest::ReadLines(JournalPath()), "hal update dev=1 handle=2 fault=1 event=1 ret=7"));
}

TEST(EzcomLibrary, BusyCountsFromProcessStartPerFunction)
{
    const int sendAnswers[] = {EzcomSendRequest(1, nullptr), EzcomSendRequest(1, nullptr),
                               EzcomSendRequest(1, nullptr)};
    const int closeAnswers[] = {EzcomClosePipe(1), EzcomClosePipe(1), EzcomClosePipe(1)};
    EXPECT_EQ(std::vector<int>(std::begin(sendAnswers), std::end(sendAnswers)), (std::vector<int>{-11, -11, 0}));
    EXPECT_EQ(std::vector<int>(std::begin(closeAnswers), std::end(closeAnswers)), (std::vector<int>{-16, -16, 0}));
    EXPECT_EQ(EzcomCfgFinishServer(), 0);
    EXPECT_TRUE(Contains(SimTest::ReadLines(JournalPath()), "ezcom CfgFinishServer"));
}

TEST(GroupOwnerLibrary, SingletonPlaysTheScriptNamedByTheEnvironment)
{
    using namespace ProcMgr;
    ProcMgrGrpOwner* owner = ProcMgrGrpOwner::GetInstance();
    ASSERT_EQ(owner, ProcMgrGrpOwner::GetInstance());
    EXPECT_EQ(owner->Configure(GrpOwnerStartupConfig{}), 4);
    std::mutex mutex;
    std::condition_variable delivered;
    uint32_t nodeType = 0;
    owner->RegisterAppStateCallback([&](const std::string& name, int, AppReportState) {
        AppSensorConfig config;
        ProcMgrGrpOwner::GetInstance()->GetAppSensorConfig(name, config);
        const std::lock_guard<std::mutex> lock(mutex);
        nodeType = config.nodeType;
        delivered.notify_all();
        return true;
    });
    {
        std::unique_lock<std::mutex> lock(mutex);
        EXPECT_TRUE(delivered.wait_for(lock, std::chrono::seconds(5), [&] { return nodeType != 0; }));
    }
    owner->Stop();
    EXPECT_EQ(nodeType, 0x27U);
    EXPECT_TRUE(Contains(SimTest::ReadLines(JournalPath()), "grp callback app=camera pid=5 state=4 result=1"));
}

void SetUpProcess(const SimTest::TempDir& dir)
{
    SimTest::WriteFile(dir.File("script"), "app camera 0x27 1\nstate camera 5 ABNORMAL_EXIT\n");
    const std::pair<const char*, std::string> variables[] = {
        {JOURNAL_VARIABLE, dir.File("journal")},
        {"PLATFORM_SIM_LOG_LEVEL", "2"},
        {"PLATFORM_SIM_RUNLOG", "0"},
        {"PLATFORM_SIM_HAL_DEVICES", "abc"},
        {"PLATFORM_SIM_HAL_FAIL", "update@1"},
        {"PLATFORM_SIM_EZCOM_BUSY", "2"},
        {"PLATFORM_SIM_GRP_CONFIGURE_RET", "4"},
        {"PLATFORM_SIM_GRP_SCRIPT", dir.File("script")},
    };
    for (const auto& [name, value] : variables) {
        setenv(name, value.c_str(), 1);  // NOLINT(concurrency-mt-unsafe): no other thread yet
    }
    const int stderrFile = open(dir.File("stderr").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    dup2(stderrFile, STDERR_FILENO);
    close(stderrFile);
}

}  // namespace

int main(int argc, char** argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    SimTest::TempDir dir;
    SetUpProcess(dir);
    return RUN_ALL_TESTS();
}
