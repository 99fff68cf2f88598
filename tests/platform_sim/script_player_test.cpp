#include <chrono>
#include <condition_variable>
#include <fstream>
#include <gtest/gtest.h>
#include <mutex>
#include <sys/stat.h>
#include <thread>

#include "platform/sim/line_reader.h"
#include "platform/sim/sim_group_owner.h"
#include "tests/platform_sim/sim_test_support.h"

namespace ProcMgr::Sim {
namespace {

using namespace std::chrono_literals;
using Names = std::vector<std::string>;

// Stop wakes the player at once and promises 100 ms; the margin absorbs the scheduling noise of
// a loaded sanitizer run, while a player that waits out its sleep or its FIFO still fails.
constexpr auto STOP_BOUND = 250ms;

class ScriptPlayerTest : public ::testing::Test {
protected:
    std::unique_ptr<SimGroupOwner> MakeOwner(const std::string& scriptPath)
    {
        return std::make_unique<SimGroupOwner>(GroupOwnerSettings{0, 0, scriptPath}, scratch.Sink("journal"),
                                               [this](const std::string& report) { Note(reports, report); });
    }
    bool Note(Names& list, const std::string& text)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        list.push_back(text);
        noted.notify_all();
        return true;
    }
    bool WaitFor(size_t count)
    {
        std::unique_lock<std::mutex> lock(mutex);
        return noted.wait_for(lock, 5s, [&] { return names.size() >= count; });
    }
    SimTest::Scratch scratch;
    std::mutex mutex;
    std::condition_variable noted;
    Names names;  // read once the players are stopped
    Names reports;
};

TEST_F(ScriptPlayerTest, PlaysFileAnswersCallsFromTheCallbackAndSkipsBadLines)
{
    const std::string longest = "#" + std::string(MAX_LINE_BYTES - 1, 'a');
    auto owner = MakeOwner(scratch.Write(
        "script", "app camera 0x0607 -1\nrestart-ret camera 9\nstate camera 42 HEART_BEAT_LOST\nbogus\njoin\n" +
                      longest + "\n" + longest + "b\nparallel 2\nparallel 3\nstate b 2 x\nstate radar 7 -1\n" +
                      std::string(MAX_LINE_BYTES * 5, 'd')));
    // The daemon calls back into the service from the callback; a lock held across it deadlocks.
    owner->RegisterAppStateCallback([&](const std::string& name, int, AppReportState) {
        AppSensorConfig config{0x1234, 5};
        const bool known = owner->GetAppSensorConfig(name, config) == 0;
        Note(names, name);
        return known ? owner->RestartApp(name) == 0 : config.nodeType == 0x1234;  // untouched when unknown
    });
    ASSERT_TRUE(WaitFor(2));  // radar comes from the block left open at the end of the file
    owner->Stop();
    EXPECT_EQ(
        scratch.Lines("journal"),
        (Names{"grp RegisterAppStateCallback", "grp GetAppSensorConfig app=camera ret=0 nodeType=0x607 reportScope=-1",
               "grp RestartApp app=camera ret=9", "grp callback app=camera pid=42 state=2 result=0",
               "grp GetAppSensorConfig app=radar ret=1 nodeType=0x0 reportScope=0",
               "grp callback app=radar pid=7 state=-1 result=1", "grp Stop"}));
    const std::string line = "group-owner script '" + scratch.File("script") + "' line ";
    EXPECT_EQ(
        reports,
        (Names{line + "4: unknown command 'bogus'; skipped", line + "5: 'join' without 'parallel'; skipped",
               line + "7: longer than 4096 bytes; skipped", line + "9: 'parallel' inside a parallel block; skipped",
               line + "10: bad state 'x'; skipped", line + "12: longer than 4096 bytes; skipped"}));
}

TEST_F(ScriptPlayerTest, FifoTakesEveryEchoAndStopsAtOnceWhenIdle)
{
    const std::string fifo = scratch.File("ctl");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    auto owner = MakeOwner(fifo);
    owner->RegisterAppStateCallback([this](const std::string& name, int, AppReportState) { return Note(names, name); });
    const Names sent = {"first", "second", "third"};
    for (size_t i = 0; i < sent.size(); ++i) {
        std::ofstream(fifo) << "state " + sent[i] + " 1 SWITCH_ON\n";  // as `echo ... > ctl` does
        ASSERT_TRUE(WaitFor(i + 1)) << sent[i];
    }
    std::this_thread::sleep_for(50ms);  // until the player waits on the idle FIFO again
    const auto begin = std::chrono::steady_clock::now();
    owner->Stop();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, STOP_BOUND);
    EXPECT_EQ(names, sent);
}

TEST_F(ScriptPlayerTest, ParallelDeliversFromSeveralThreadsAndStopCutsALongSleepShort)
{
    auto owner =
        MakeOwner(scratch.Write("script",
                                "parallel 4\nstate a 1 0\nstate b 2 0\nstate c 3 0\nstate d 4 0\n"
                                "state e 5 0\nstate f 6 0\njoin\nstate after 9 0\nsleep 30\nstate never 1 0\n"));
    size_t arrived = 0;
    size_t unmet = 0;
    // The first four callbacks wait for one another, which only threads running at once can do.
    owner->RegisterAppStateCallback([&](const std::string& name, int, AppReportState) {
        std::unique_lock<std::mutex> lock(mutex);
        ++arrived;
        noted.notify_all();
        unmet += noted.wait_for(lock, 2s, [&] { return arrived >= 4; }) ? 0U : 1U;
        lock.unlock();
        return Note(names, name);
    });
    ASSERT_TRUE(WaitFor(7));
    std::this_thread::sleep_for(50ms);  // until the player is in its sleep
    const auto begin = std::chrono::steady_clock::now();
    owner->Stop();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, STOP_BOUND);
    EXPECT_EQ(unmet, 0U);
    EXPECT_EQ(names.back(), "after");
}

TEST_F(ScriptPlayerTest, NoCallbackRunsAfterStopReturnedAndAMissingScriptIsReportedOnce)
{
    std::string script = "parallel 4\n";
    for (int i = 0; i < 200; ++i) {
        script += "state app" + std::to_string(i) + " 1 0\n";
    }
    auto owner = MakeOwner(scratch.Write("script", script));
    owner->RegisterAppStateCallback([&](const std::string& name, int, AppReportState) {
        std::this_thread::sleep_for(5ms);
        return Note(names, name);
    });
    ASSERT_TRUE(WaitFor(1));
    owner->Stop();
    const size_t atStop = names.size();
    std::this_thread::sleep_for(50ms);
    EXPECT_EQ(names.size(), atStop);
    EXPECT_LT(atStop, 200U);
    EXPECT_EQ(scratch.Lines("journal").back(), "grp Stop");
    auto unplayable = MakeOwner(scratch.File("missing"));
    unplayable->RegisterAppStateCallback({});
    unplayable->RegisterAppStateCallback({});
    EXPECT_EQ(reports,
              Names{"cannot open group-owner script '" + scratch.File("missing") + "' (No such file or directory)"});
}

}  // namespace
}  // namespace ProcMgr::Sim
