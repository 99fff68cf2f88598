#include <gmock/gmock.h>

#include "tests/sensor_reporter/reporter_test_support.h"

namespace ReporterTests {
namespace {

using testing::ElementsAre;

struct SequenceCase {
    const char* guards;
    std::vector<int32_t> reported;
    std::vector<int32_t> rounds;
};

class EventSequenceTest : public ReporterTest, public testing::WithParamInterface<SequenceCase> {};

TEST_P(EventSequenceTest, OnlyChangesReachEveryHandleInDeviceOrder)
{
    const SequenceCase& row = GetParam();
    SetDevices(2);
    ASSERT_TRUE(reporter.RegisterSensorNode(Node("os-memory", EVERY_DEVICE)));
    const auto handles = Targets(Fakes::HalCalls("register"));
    for (const int32_t event : row.reported) {
        reporter.ReportEvent("os-memory", event);
    }

    std::vector<DeviceHandle> expectedTargets;
    std::vector<int32_t> expectedEvents;
    for (const int32_t event : row.rounds) {
        expectedTargets.insert(expectedTargets.end(), handles.begin(), handles.end());
        expectedEvents.insert(expectedEvents.end(), handles.size(), event);
    }
    const auto updates = Fakes::HalCalls("update");
    std::vector<int32_t> events;
    for (const auto& call : updates) {
        events.push_back(call.event);
    }
    EXPECT_EQ(Targets(updates), expectedTargets) << row.guards;
    EXPECT_EQ(events, expectedEvents) << row.guards;
}

INSTANTIATE_TEST_SUITE_P(
    Sequences, EventSequenceTest,
    testing::Values(SequenceCase{"repeats are dropped", {1, 1, 0, 0, 1}, {1, 0, 1}},
                    SequenceCase{"0 right after registration is no change", {0}, {}},
                    SequenceCase{"any value, compared for equality only", {7, -3, -3, 7}, {7, -3, 7}}), RowName());

struct FaultCase {
    const char* guards;
    uint16_t nodeType;
    uint8_t sensorType;
    int32_t fault;
};

class FaultValueTest : public ReporterTest, public testing::WithParamInterface<FaultCase> {};

TEST_P(FaultValueTest, FaultValueFollowsTheNodeTypes)
{
    const FaultCase& row = GetParam();
    ASSERT_TRUE(reporter.RegisterSensorNode(Node("node", DEVICE_0_ONLY, row.nodeType, row.sensorType)));
    reporter.ReportEvent("node", 1);

    const auto updates = Fakes::HalCalls("update");
    ASSERT_EQ(updates.size(), 1U);
    EXPECT_EQ(updates[0].fault, row.fault) << row.guards;
    EXPECT_THAT(SyslogLinesWith("ReportEvent"),
                ElementsAre(SYSLOG_INFO + "SensorNodeEventReporter ReportEvent success.(nodeName=node,id=0,fault=" +
                            std::to_string(row.fault) + ",event=1)"));
}

INSTANTIATE_TEST_SUITE_P(Types, FaultValueTest,
                         testing::Values(FaultCase{"os-memory node", OS_NODE_TYPE, OS_SENSOR_TYPE, 1},
                                         FaultCase{"application node of the os node type", OS_NODE_TYPE, APP_SENSOR_TYPE, 0},
                                         FaultCase{"os node type, sensor type 0", OS_NODE_TYPE, 0x00, 1},
                                         FaultCase{"other node type", 0x0618, OS_SENSOR_TYPE, 0},
                                         FaultCase{"application node of another type", 0x0001, APP_SENSOR_TYPE, 0}), RowName());

TEST_F(ReporterTest, FailedDeviceIsLoggedTheOtherReportedAndTheEventNotRepeated)
{
    SetDevices(2, {{"update@0", 3}});
    ASSERT_TRUE(reporter.RegisterSensorNode(Node("os-memory", EVERY_DEVICE)));
    reporter.ReportEvent("os-memory", 1);
    reporter.ReportEvent("os-memory", 1);

    EXPECT_EQ(Devices(Fakes::HalCalls("update")), (std::vector<uint32_t>{0, 1}));
    EXPECT_THAT(
        SyslogLinesWith("ReportEvent"),
        ElementsAre(
            SYSLOG_ERR + "SensorNodeEventReporter ReportEvent failed.(nodeName=os-memory,id=0,fault=1,event=1,ret=3)",
            SYSLOG_INFO + "SensorNodeEventReporter ReportEvent success.(nodeName=os-memory,id=1,fault=1,event=1)"));
}

TEST_F(ReporterTest, UnknownAndUnregisteredNamesAreIgnored)
{
    ASSERT_TRUE(reporter.RegisterSensorNode(Node("gone", DEVICE_0_ONLY)));
    ASSERT_TRUE(reporter.UnregisterSensorNode("gone"));
    const auto timeline = Fakes::Timeline();

    reporter.ReportEvent("gone", 1);
    reporter.ReportEvent("never", 1);
    reporter.ReportEvent("", 1);
    EXPECT_EQ(Fakes::Timeline(), timeline);
}

TEST_F(ReporterTest, NodeRegisteredAgainStartsOverFromEventZero)
{
    ASSERT_TRUE(reporter.RegisterSensorNode(Node("app", DEVICE_0_ONLY)));
    reporter.ReportEvent("app", 1);
    ASSERT_TRUE(reporter.UnregisterSensorNode("app"));
    ASSERT_TRUE(reporter.RegisterSensorNode(Node("app", DEVICE_0_ONLY)));

    reporter.ReportEvent("app", 0);
    reporter.ReportEvent("app", 1);
    const auto updates = Fakes::HalCalls("update");
    ASSERT_EQ(updates.size(), 2U);
    EXPECT_EQ(updates[1].event, 1);
    EXPECT_EQ(updates[1].handle, Fakes::HalCalls("register").back().handle) << "the new handle";
}

}  // namespace
}  // namespace ReporterTests
