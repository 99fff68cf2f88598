#include <chrono>
#include <future>
#include <thread>

#include "tests/proc_launcher/launcher_test_support.h"

namespace ProcMgr {
namespace {

using ::testing::Return;

class StateChangeTest : public LauncherTest {
protected:
    StateChangeTest() { DeclareApp("camera", 0x1234, 0); }

    static std::vector<int32_t> UpdateEvents()
    {
        std::vector<int32_t> events;
        for (const auto& call : Fakes::HalCalls("update")) {
            events.push_back(call.event);
        }
        return events;
    }

    ProcLauncher launcher;
};

TEST_F(StateChangeTest, FirstReportOfEachState)
{
    struct Row {
        const char* name;
        int32_t state;
        int restartRet;
        bool result;
        size_t registrations;  // of the application's node, on the HAL
        std::vector<int32_t> events;
        int restarts;
        const char* stateName;
    };
    const std::vector<Row> rows{
        {"switch on registers without an update", SWITCH_ON, 0, true, DEVICES, {}, 0, "SWITCH_ON"},
        {"switch off touches nothing", SWITCH_OFF, 0, true, 0, {}, 0, "SWITCH_OFF"},
        {"heartbeat lost raises and restarts", HEART_BEAT_LOST, 0, true, DEVICES, {1, 1}, 1, "HEART_BEAT_LOST"},
        {"refused restart after the event", HEART_BEAT_LOST, 3, false, DEVICES, {1, 1}, 1, "HEART_BEAT_LOST"},
        {"recovery of a clear node sends nothing", HEART_BEAT_RECOVERY, 0, true, DEVICES, {}, 0, "HEART_BEAT_RECOVERY"},
        {"abnormal exit raises without restart", ABNORMAL_EXIT, 0, true, DEVICES, {1, 1}, 0, "ABNORMAL_EXIT"},
        {"active exit of an unknown node", ACTIVELY_EXIT, 0, true, 0, {}, 0, "ACTIVELY_EXIT"},
        {"6 is unknown and clears", 6, 0, true, DEVICES, {}, 0, "unknown"},
        {"-1 is unknown and clears", -1, 0, true, DEVICES, {}, 0, "unknown"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        ResetFakes();
        ProcLauncher fresh;
        EXPECT_CALL(grp, RestartApp("camera")).Times(row.restarts).WillRepeatedly([&row](const std::string&) {
            EXPECT_EQ(Fakes::HalCalls("update").size(), DEVICES);  // the event goes out first
            return row.restartRet;
        });
        EXPECT_EQ(fresh.OnAppStateChange("camera", 42, static_cast<AppReportState>(row.state)), row.result);
        EXPECT_EQ(Fakes::HalCalls("register").size(), row.registrations);
        EXPECT_EQ(UpdateEvents(), row.events);
        EXPECT_TRUE(Fakes::LogContains(std::string("]Receive app state change. (name=camera,pid=42,state=") +
                                       row.stateName + ")"));
        EXPECT_EQ(Fakes::LogContains("]Restart app failed when in heartbeat lost state. (app=camera)"), !row.result);
        EXPECT_EQ(Fakes::LogRecords().back().level, row.result ? 1 : 3);
        ::testing::Mock::VerifyAndClearExpectations(&grp);
    }
}

TEST_F(StateChangeTest, NodeTakesTheApplicationsEntryOrNoneIsRegistered)
{
    struct Row {
        const char* name;
        std::string app;
        int configRet;
        uint32_t nodeType;
        int32_t scope;
        size_t devices;  // 0: no node, no event, no restart, false
        unsigned halNodeType;
        const char* message;
    };
    const std::vector<Row> rows{
        {"positive scope: device 0 only", "radar", 0, 0x2201, 1, 1, 0x2201, ""},
        {"only the low 16 bits of 0x10000", "wide", 0, 0x10000, 0, DEVICES, 0, ""},
        {"the memory node's type still reports fault 0", "memapp", 0, 0x0617, -1, DEVICES, 0x0617, ""},
        {"no sensor entry", "ghost", 1, 0x1234, 0, 0, 0, "]RegAppSensorNode, app yaml not config. (appName=ghost)"},
        {"node type 0", "ghost", 0, 0, 0, 0, 0, "]RegAppSensorNode, nodeType=0. (appName=ghost)"},
        {"name too long for the HAL", std::string(20, 'n'), 0, 0x1234, 0, 0, 0, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        ResetFakes();
        DeclareApp(row.app, row.nodeType, row.scope, row.configRet);
        EXPECT_EQ(launcher.OnAppStateChange(row.app, 7, HEART_BEAT_LOST), row.devices != 0);
        EXPECT_TRUE(Fakes::LogContains(row.message));
        EXPECT_EQ(Fakes::TimelineWith("grp Restart").size(), row.devices != 0 ? 1U : 0U);
        ASSERT_EQ(Fakes::HalCalls("register").size(), row.devices);
        ASSERT_EQ(Fakes::HalCalls("update").size(), row.devices);
        for (const auto& call : Fakes::HalCalls("register")) {
            EXPECT_LT(call.dev, row.devices);
            EXPECT_EQ(std::string(reinterpret_cast<const char*>(call.record.data())), row.app);
            EXPECT_EQ(call.record[20] | (call.record[21] << 8), row.halNodeType);
            EXPECT_EQ(call.record[22], 0x27);
        }
        for (const auto& call : Fakes::HalCalls("update")) {
            EXPECT_EQ(call.fault, 0);
        }
    }
}

TEST_F(StateChangeTest, OnlyChangesReachTheHalEveryLossRestartsAndARemovedNodeStartsOverCleared)
{
    Fakes::SetHal({DEVICES, 0, {{"unregister@1", 7}}});  // a failed withdrawal still forgets the node
    EXPECT_CALL(grp, RestartApp("camera")).Times(2).WillRepeatedly(Return(0));
    const std::vector<std::pair<AppReportState, bool>> reports{
        {HEART_BEAT_LOST, true}, {HEART_BEAT_LOST, true}, {HEART_BEAT_RECOVERY, true},
        {SWITCH_ON, true},       {ABNORMAL_EXIT, true},   {ACTIVELY_EXIT, false},
        {ACTIVELY_EXIT, true},   {SWITCH_ON, true},       {ABNORMAL_EXIT, true}};
    for (const auto& [state, result] : reports) {
        EXPECT_EQ(launcher.OnAppStateChange("camera", 42, state), result) << state;
    }
    EXPECT_EQ(UpdateEvents(), (std::vector<int32_t>{1, 1, 0, 0, 1, 1, 1, 1}));
    EXPECT_EQ(Fakes::HalCalls("register").size(), 2 * DEVICES);
    EXPECT_EQ(Fakes::HalCalls("unregister").size(), DEVICES);
}

TEST_F(StateChangeTest, ConcurrentReportsAreHandledOneAfterTheOther)
{
    std::promise<void> restartEntered;
    EXPECT_CALL(grp, RestartApp("camera")).WillOnce([&restartEntered](const std::string&) {
        restartEntered.set_value();
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        EXPECT_TRUE(Fakes::TimelineWith("hal register dev=0 name=radar").empty());
        return 0;
    });
    DeclareApp("radar", 0x2201, 0);
    std::thread first([this] { EXPECT_TRUE(launcher.OnAppStateChange("camera", 1, HEART_BEAT_LOST)); });
    restartEntered.get_future().wait();
    std::thread second([this] { EXPECT_TRUE(launcher.OnAppStateChange("radar", 2, SWITCH_ON)); });
    first.join();
    second.join();
    EXPECT_EQ(Fakes::TimelineWith("hal register dev=0 name=radar").size(), 1U);
}

}  // namespace
}  // namespace ProcMgr
