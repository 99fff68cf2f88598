#include <chrono>
#include <condition_variable>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <mutex>
#include <set>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "platform/sim/sim_group_owner.h"
#include "tests/platform_sim/sim_test_support.h"

namespace ProcMgr::Sim {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// Stop wakes the player at once and promises 100 ms; the margin absorbs the scheduling noise of
// a loaded sanitizer run, while a player that waits out its sleep or its FIFO still fails.
constexpr auto STOP_BOUND = 250ms;
constexpr auto PATIENCE = 5s;

// What the callback saw, from whichever thread delivered it.
class Deliveries {
public:
    void Record(const std::string& name)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        names.push_back(name);
        threads.insert(std::this_thread::get_id());
        changed.notify_all();
    }

    bool WaitFor(size_t count)
    {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, PATIENCE, [&] { return names.size() >= count; });
    }

    size_t Count() const
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return names.size();
    }

    std::vector<std::string> Names() const
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return names;
    }

    size_t ThreadCount() const
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return threads.size();
    }

private:
    mutable std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::string> names;
    std::set<std::thread::id> threads;
};

class ScriptPlayerTest : public ::testing::Test {
protected:
    std::unique_ptr<SimGroupOwner> MakeOwner(const std::string& scriptPath)
    {
        GroupOwnerSettings settings;
        settings.scriptPath = scriptPath;
        return std::make_unique<SimGroupOwner>(settings, journal.Sink(), reports.Reporter());
    }

    std::string Script(const std::string& text)
    {
        std::string path = dir.File("script");
        SimTest::WriteFile(path, text);
        return path;
    }

    std::string Fifo()
    {
        std::string path = dir.File("ctl");
        EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
        return path;
    }

    // As `echo TEXT > fifo` does: open, write one line, close.
    static void Echo(const std::string& fifo, const std::string& text)
    {
        const UniqueFd writer(open(fifo.c_str(), O_WRONLY | O_CLOEXEC));
        ASSERT_TRUE(writer.Valid());
        const std::string line = text + "\n";
        ASSERT_EQ(write(writer.Get(), line.data(), line.size()), static_cast<ssize_t>(line.size()));
    }

    AppStateCallback Recording()
    {
        return [this](const std::string& name, int, AppReportState) {
            deliveries.Record(name);
            return true;
        };
    }

    static std::chrono::milliseconds TimeStop(SimGroupOwner& owner)
    {
        const Clock::time_point begin = Clock::now();
        owner.Stop();
        return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
    }

    SimTest::TempDir dir;
    SimTest::JournalFile journal{dir.File("journal")};
    SimTest::Reports reports;
    Deliveries deliveries;
};

TEST_F(ScriptPlayerTest, PlaysFileAndAnswersCallsMadeFromInsideTheCallback)
{
    auto owner =
        MakeOwner(Script("# a camera and a radar\n"
                         "app camera 0x0607 -1\n"
                         "restart-ret camera 9\n"
                         "state camera 42 HEART_BEAT_LOST\n"
                         "state camera 43 SWITCH_ON\n"
                         "state radar 7 -1\n"));
    // The daemon calls back into the service from the callback; a lock held across it deadlocks.
    owner->RegisterAppStateCallback([&](const std::string& name, int, AppReportState state) {
        AppSensorConfig config;
        const bool known = owner->GetAppSensorConfig(name, config) == 0;
        const bool restarted = state != HEART_BEAT_LOST || owner->RestartApp(name) == 0;
        deliveries.Record(name);
        return known && restarted;
    });
    ASSERT_TRUE(deliveries.WaitFor(3));
    owner->Stop();
    EXPECT_EQ(journal.Lines(), (std::vector<std::string>{
                                   "grp RegisterAppStateCallback",
                                   "grp GetAppSensorConfig app=camera ret=0 nodeType=0x607 reportScope=-1",
                                   "grp RestartApp app=camera ret=9",
                                   "grp callback app=camera pid=42 state=2 result=0",
                                   "grp GetAppSensorConfig app=camera ret=0 nodeType=0x607 reportScope=-1",
                                   "grp callback app=camera pid=43 state=0 result=1",
                                   "grp GetAppSensorConfig app=radar ret=1 nodeType=0x0 reportScope=0",
                                   "grp callback app=radar pid=7 state=-1 result=0",
                                   "grp Stop",
                               }));
    EXPECT_TRUE(reports.Messages().empty());
}

TEST_F(ScriptPlayerTest, FifoTakesOneEchoAfterAnother)
{
    const std::string fifo = Fifo();
    auto owner = MakeOwner(fifo);
    owner->RegisterAppStateCallback(Recording());
    const std::vector<std::string> names = {"first", "second", "third"};
    for (size_t i = 0; i < names.size(); ++i) {
        Echo(fifo, "state " + names[i] + " 1 SWITCH_ON");
        ASSERT_TRUE(deliveries.WaitFor(i + 1)) << names[i];
    }
    owner->Stop();
    EXPECT_EQ(deliveries.Names(), names);
}

TEST_F(ScriptPlayerTest, StopReturnsQuicklyWhileWaitingOnAnIdleFifo)
{
    const std::string fifo = Fifo();
    auto owner = MakeOwner(fifo);
    owner->RegisterAppStateCallback(Recording());
    Echo(fifo, "state camera 1 SWITCH_ON");
    ASSERT_TRUE(deliveries.WaitFor(1));
    EXPECT_LT(TimeStop(*owner), STOP_BOUND);
}

TEST_F(ScriptPlayerTest, StopReturnsQuicklyDuringALongSleep)
{
    auto owner = MakeOwner(Script("state before 1 SWITCH_ON\nsleep 30\nstate after 2 SWITCH_ON\n"));
    owner->RegisterAppStateCallback(Recording());
    ASSERT_TRUE(deliveries.WaitFor(1));
    EXPECT_LT(TimeStop(*owner), STOP_BOUND);
    EXPECT_EQ(deliveries.Names(), std::vector<std::string>{"before"});
}

TEST_F(ScriptPlayerTest, ParallelDeliversFromSeveralThreadsAtOnce)
{
    constexpr size_t THREADS = 4;
    auto owner =
        MakeOwner(Script("parallel 4\n"
                         "state a 1 0\nstate b 2 0\nstate c 3 0\nstate d 4 0\n"
                         "state e 5 0\nstate f 6 0\nstate g 7 0\nstate h 8 0\n"
                         "join\n"
                         "state after 9 0\n"));
    std::mutex mutex;
    std::condition_variable allInside;
    size_t arrived = 0;
    size_t inside = 0;
    size_t mostInside = 0;
    // The first four callbacks wait for one another, which only threads running at once can do.
    owner->RegisterAppStateCallback([&](const std::string& name, int, AppReportState) {
        std::unique_lock<std::mutex> lock(mutex);
        ++arrived;
        ++inside;
        mostInside = std::max(mostInside, inside);
        allInside.notify_all();
        allInside.wait_for(lock, 2s, [&] { return arrived >= THREADS; });
        --inside;
        lock.unlock();
        deliveries.Record(name);
        return true;
    });
    ASSERT_TRUE(deliveries.WaitFor(9));
    owner->Stop();
    EXPECT_EQ(mostInside, THREADS);
    EXPECT_EQ(deliveries.ThreadCount(), THREADS + 1);  // the four workers and the player for "after"
    EXPECT_EQ(deliveries.Names().back(), "after");
    EXPECT_EQ(journal.LinesWith("grp callback").size(), 9U);
}

TEST_F(ScriptPlayerTest, NoCallbackRunsAfterStopReturned)
{
    std::string script = "parallel 4\n";
    for (int i = 0; i < 200; ++i) {
        script += "state app" + std::to_string(i) + " " + std::to_string(i) + " 0\n";
    }
    auto owner = MakeOwner(Script(script + "join\n"));
    owner->RegisterAppStateCallback([this](const std::string& name, int, AppReportState) {
        std::this_thread::sleep_for(5ms);
        deliveries.Record(name);
        return true;
    });
    ASSERT_TRUE(deliveries.WaitFor(1));
    owner->Stop();
    const size_t atStop = deliveries.Count();
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(deliveries.Count(), atStop);
    EXPECT_LT(atStop, 200U);
    EXPECT_EQ(journal.Lines().back(), "grp Stop");
}

TEST_F(ScriptPlayerTest, BadLinesAreReportedWithTheirNumberAndSkipped)
{
    auto owner =
        MakeOwner(Script("state a 1 SWITCH_ON\n"
                         "bogus\n"
                         "join\n"
                         "parallel 2\n"
                         "parallel 3\n"
                         "state b 2 x\n"
                         "state c 3 SWITCH_OFF\n"));
    owner->RegisterAppStateCallback(Recording());
    ASSERT_TRUE(deliveries.WaitFor(2));  // c runs as the unjoined block at the end of the file
    owner->Stop();
    const std::vector<std::string> messages = reports.Messages();
    ASSERT_EQ(messages.size(), 4U);
    const char* expected[] = {"line 2: unknown command 'bogus'", "line 3: 'join' without 'parallel'",
                              "line 5: 'parallel' inside a parallel block", "line 6: bad state 'x'"};
    for (size_t i = 0; i < messages.size(); ++i) {
        EXPECT_NE(messages[i].find(expected[i]), std::string::npos) << messages[i];
    }
    EXPECT_EQ(deliveries.Names(), (std::vector<std::string>{"a", "c"}));
}

TEST_F(ScriptPlayerTest, UnopenableScriptIsReportedOnceAndTheServiceStillWorks)
{
    auto owner = MakeOwner(dir.File("missing"));
    owner->RegisterAppStateCallback(Recording());
    owner->RegisterAppStateCallback(Recording());
    AppSensorConfig config;
    EXPECT_EQ(owner->GetAppSensorConfig("camera", config), GRP_APP_NOT_DECLARED);
    EXPECT_EQ(owner->RestartApp("camera"), 0);
    ASSERT_EQ(reports.Messages().size(), 1U);
    EXPECT_NE(reports.Messages()[0].find("missing"), std::string::npos) << reports.Messages()[0];
}

TEST_F(ScriptPlayerTest, LifecycleCallsAreJournaledAndStopIsIdempotent)
{
    GroupOwnerSettings settings;
    settings.configureResult = 3;
    settings.startResult = -2;
    SimGroupOwner owner(settings, journal.Sink(), reports.Reporter());
    owner.Stop();
    GrpOwnerStartupConfig config;
    config.startupConfigPath = "/etc/orv/base-plat/proc_launcher/proc_launcher_startup.yaml";
    config.resourcePath = "/res/proc_launcher/ss";
    config.secondFlag = true;
    EXPECT_EQ(owner.Configure(config), 3);
    EXPECT_EQ(owner.Start(), -2);
    owner.Run();
    owner.SetRunning(1);
    owner.Stop();
    owner.Stop();
    const std::string configureLine =
        "grp Configure startupConfigPath=/etc/orv/base-plat/proc_launcher/proc_launcher_startup.yaml "
        "extraPath= resourcePath=/res/proc_launcher/ss firstFlag=0 secondFlag=1 extraValue=0 ret=3";
    EXPECT_EQ(journal.Lines(), (std::vector<std::string>{
                                   "grp Stop",
                                   configureLine,
                                   "grp Start ret=-2",
                                   "grp Run",
                                   "grp SetRunning 1",
                                   "grp Stop",
                                   "grp Stop",
                               }));
}

}  // namespace
}  // namespace ProcMgr::Sim
