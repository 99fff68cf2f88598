#include <chrono>
#include <future>
#include <thread>

#include "tests/proc_launcher/launcher_test_support.h"

namespace ProcMgr {
namespace {

using ::testing::_;
using ::testing::Invoke;
using ::testing::Return;

class StateChangeTest : public LauncherTest {
protected:
    StateChangeTest() { DeclareApp("camera", 0x1234, 0); }

    std::vector<int32_t> UpdateEvents()
    {
        std::vector<int32_t> events;
        for (const auto& call : Fakes::HalCalls("update")) {
            events.push_back(call.event);
        }
        return events;
    }

    ProcLauncher launcher;
};

struct FirstReport {
    const char* name;
    int32_t state;
    bool result;
    size_t registrations;  // HAL registrations of the application's node
    std::vector<int32_t> updates;
    int restarts;
    const char* stateName;
};

class FirstReportTest : public StateChangeTest, public ::testing::WithParamInterface<FirstReport> {};

TEST_P(FirstReportTest, OfAConfiguredApplication)
{
    const auto& row = GetParam();
    EXPECT_CALL(grp, RestartApp("camera")).Times(row.restarts);
    EXPECT_EQ(launcher.OnAppStateChange("camera", 42, static_cast<AppReportState>(row.state)), row.result);
    EXPECT_EQ(Fakes::HalCalls("register").size(), row.registrations);
    EXPECT_EQ(UpdateEvents(), row.updates);
    EXPECT_TRUE(Fakes::LogContains(std::string("Receive app state change. (name=camera,pid=42,state=") +
                                   row.stateName + ")"));
}

INSTANTIATE_TEST_SUITE_P(
    EveryState, FirstReportTest,
    ::testing::Values(
        FirstReport{"SwitchOnRegistersWithoutUpdate", SWITCH_ON, true, DEVICES, {}, 0, "SWITCH_ON"},
        FirstReport{"SwitchOffTouchesNothing", SWITCH_OFF, true, 0, {}, 0, "SWITCH_OFF"},
        FirstReport{"HeartbeatLostRaisesAndRestarts", HEART_BEAT_LOST, true, DEVICES, {1, 1}, 1, "HEART_BEAT_LOST"},
        FirstReport{"RecoveryClearsWhatWasClear", HEART_BEAT_RECOVERY, true, DEVICES, {}, 0, "HEART_BEAT_RECOVERY"},
        FirstReport{"AbnormalExitRaisesWithoutRestart", ABNORMAL_EXIT, true, DEVICES, {1, 1}, 0, "ABNORMAL_EXIT"},
        FirstReport{"ActiveExitOfUnknownNodeIsFine", ACTIVELY_EXIT, true, 0, {}, 0, "ACTIVELY_EXIT"},
        FirstReport{"ValueSixIsUnknownAndClears", 6, true, DEVICES, {}, 0, "unknown"},
        FirstReport{"MinusOneIsUnknownAndClears", -1, true, DEVICES, {}, 0, "unknown"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(StateChangeTest, SwitchOffNeverAsksTheService)
{
    EXPECT_CALL(grp, GetAppSensorConfig(_, _)).Times(0);
    EXPECT_TRUE(launcher.OnAppStateChange("anything", 1, SWITCH_OFF));
}

TEST_F(StateChangeTest, RegistersWithTheApplicationsTypesAndScope)
{
    DeclareApp("radar", 0x2201, 1);
    ASSERT_TRUE(launcher.OnAppStateChange("radar", 7, SWITCH_ON));
    const auto registrations = Fakes::HalCalls("register");
    ASSERT_EQ(registrations.size(), 1U);  // positive scope: device 0 only
    EXPECT_EQ(registrations[0].dev, 0U);
    const auto& record = registrations[0].record;
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(record.data())), "radar");
    EXPECT_EQ(record[20] | (record[21] << 8), 0x2201);
    EXPECT_EQ(record[22], 0x27);
}

TEST_F(StateChangeTest, NodeTypeKeepsOnlyItsLow16Bits)
{
    DeclareApp("wide", 0x10000, 0);
    ASSERT_TRUE(launcher.OnAppStateChange("wide", 7, SWITCH_ON));
    const auto registrations = Fakes::HalCalls("register");
    ASSERT_EQ(registrations.size(), DEVICES);
    EXPECT_EQ(registrations[0].record[20], 0);
    EXPECT_EQ(registrations[0].record[21], 0);
}

TEST_F(StateChangeTest, ApplicationNodeOfTheMemoryTypeReportsFaultValueZero)
{
    DeclareApp("memapp", 0x0617, 0);
    ASSERT_TRUE(launcher.OnAppStateChange("memapp", 7, ABNORMAL_EXIT));
    const auto updates = Fakes::HalCalls("update");
    ASSERT_EQ(updates.size(), DEVICES);
    EXPECT_EQ(updates[0].fault, 0);
}

struct Unregistrable {
    const char* name;
    int configRet;
    uint32_t nodeType;
    const char* message;
};

class UnregistrableAppTest : public StateChangeTest, public ::testing::WithParamInterface<Unregistrable> {};

TEST_P(UnregistrableAppTest, GetsNoEventNoRestartAndFalse)
{
    const auto& row = GetParam();
    ON_CALL(grp, GetAppSensorConfig("ghost", _)).WillByDefault(Invoke([&row](const std::string&, AppSensorConfig& config) {
        config.nodeType = row.nodeType;
        return row.configRet;
    }));
    EXPECT_CALL(grp, RestartApp(_)).Times(0);
    EXPECT_FALSE(launcher.OnAppStateChange("ghost", 7, HEART_BEAT_LOST));
    EXPECT_TRUE(Fakes::HalCalls().empty());
    EXPECT_TRUE(Fakes::LogContains(row.message));
}

INSTANTIATE_TEST_SUITE_P(
    Launcher, UnregistrableAppTest,
    ::testing::Values(Unregistrable{"NoSensorEntry", 1, 0x1234, "]RegAppSensorNode, app yaml not config. (appName=ghost)"},
                      Unregistrable{"NodeTypeZero", 0, 0, "]RegAppSensorNode, nodeType=0. (appName=ghost)"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(StateChangeTest, NameTooLongForTheHalGetsNoEvent)
{
    const std::string name(20, 'n');
    DeclareApp(name, 0x1234, 0);
    EXPECT_CALL(grp, RestartApp(_)).Times(0);
    EXPECT_FALSE(launcher.OnAppStateChange(name, 7, HEART_BEAT_LOST));
    EXPECT_TRUE(Fakes::HalCalls().empty());
}

TEST_F(StateChangeTest, RefusedRestartIsLoggedAfterTheEvent)
{
    EXPECT_CALL(grp, RestartApp("camera")).WillOnce(Invoke([](const std::string&) {
        EXPECT_EQ(Fakes::HalCalls("update").size(), DEVICES);  // the event went out first
        return 3;
    }));
    EXPECT_FALSE(launcher.OnAppStateChange("camera", 42, HEART_BEAT_LOST));
    const auto records = Fakes::LogRecords();
    ASSERT_FALSE(records.empty());
    EXPECT_EQ(records.back().level, 3);
    EXPECT_EQ(records.back().moduleId, 0x36);
    EXPECT_NE(records.back().text.find("]Restart app failed when in heartbeat lost state. (app=camera)"),
              std::string::npos);
}

TEST_F(StateChangeTest, OnlyChangesReachTheHalAndEveryLossAsksForARestart)
{
    EXPECT_CALL(grp, RestartApp("camera")).Times(2).WillRepeatedly(Return(0));
    const std::vector<std::pair<AppReportState, bool>> reports{
        {HEART_BEAT_LOST, true}, {HEART_BEAT_LOST, true}, {HEART_BEAT_RECOVERY, true},
        {SWITCH_ON, true},       {ABNORMAL_EXIT, true},   {ACTIVELY_EXIT, true}};
    for (const auto& [state, expected] : reports) {
        EXPECT_EQ(launcher.OnAppStateChange("camera", 42, state), expected) << state;
    }
    EXPECT_EQ(UpdateEvents(), (std::vector<int32_t>{1, 1, 0, 0, 1, 1}));
    EXPECT_EQ(Fakes::HalCalls("register").size(), DEVICES);
    EXPECT_EQ(Fakes::HalCalls("unregister").size(), DEVICES);
}

TEST_F(StateChangeTest, NodeRemovedByActiveExitStartsOverCleared)
{
    ASSERT_TRUE(launcher.OnAppStateChange("camera", 42, ABNORMAL_EXIT));
    ASSERT_TRUE(launcher.OnAppStateChange("camera", 42, ACTIVELY_EXIT));
    ASSERT_TRUE(launcher.OnAppStateChange("camera", 43, SWITCH_ON));  // fresh node: 0 is no change
    ASSERT_TRUE(launcher.OnAppStateChange("camera", 43, ABNORMAL_EXIT));
    EXPECT_EQ(Fakes::HalCalls("register").size(), 2 * DEVICES);
    EXPECT_EQ(UpdateEvents(), (std::vector<int32_t>{1, 1, 1, 1}));
}

TEST_F(StateChangeTest, FailedUnregistrationOnActiveExitAnswersFalseButForgetsTheNode)
{
    Fakes::HalSetup hal;
    hal.devices = DEVICES;
    hal.failures = {{"unregister@1", 7}};
    Fakes::SetHal(hal);
    ASSERT_TRUE(launcher.OnAppStateChange("camera", 42, SWITCH_ON));
    EXPECT_FALSE(launcher.OnAppStateChange("camera", 42, ACTIVELY_EXIT));
    EXPECT_TRUE(launcher.OnAppStateChange("camera", 42, ACTIVELY_EXIT));
    EXPECT_EQ(Fakes::HalCalls("unregister").size(), DEVICES);
}

TEST_F(StateChangeTest, QuietRunLogWritesNoStateMessageButHandlesTheSame)
{
    Fakes::LogSetup quiet;
    quiet.runLog = false;
    Fakes::SetLog(quiet);
    EXPECT_CALL(grp, RestartApp("camera")).WillOnce(Return(0));
    EXPECT_TRUE(launcher.OnAppStateChange("camera", 42, HEART_BEAT_LOST));
    EXPECT_TRUE(launcher.OnAppStateChange("ghost", 1, SWITCH_ON) == false);
    EXPECT_TRUE(Fakes::LogRecords().empty());
    EXPECT_EQ(UpdateEvents(), (std::vector<int32_t>{1, 1}));
}

TEST_F(StateChangeTest, ConcurrentReportsAreHandledOneAfterTheOther)
{
    std::promise<void> restartEntered;
    EXPECT_CALL(grp, RestartApp("camera")).WillOnce(Invoke([&restartEntered](const std::string&) {
        Fakes::RecordTimeline("restart begin");
        restartEntered.set_value();
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        Fakes::RecordTimeline("restart end");
        return 0;
    }));
    ON_CALL(grp, GetAppSensorConfig("radar", _)).WillByDefault(Invoke([](const std::string&, AppSensorConfig& config) {
        Fakes::RecordTimeline("radar config");
        config.nodeType = 0x2201;
        return 0;
    }));

    std::thread first([this] { EXPECT_TRUE(launcher.OnAppStateChange("camera", 1, HEART_BEAT_LOST)); });
    restartEntered.get_future().wait();
    std::thread second([this] { EXPECT_TRUE(launcher.OnAppStateChange("radar", 2, SWITCH_ON)); });
    first.join();
    second.join();

    const auto order = Fakes::TimelineWith("r");
    const auto position = [&order](const std::string& line) {
        return std::find(order.begin(), order.end(), line) - order.begin();
    };
    EXPECT_LT(position("restart end"), position("radar config"));
}

}  // namespace
}  // namespace ProcMgr
