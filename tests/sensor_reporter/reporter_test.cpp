#include <cstring>
#include <functional>
#include <gmock/gmock.h>

#include "sensor_reporter/sensor_node_event_reporter.h"
#include "tests/fakes/fakes.h"

namespace {

using Lines = std::vector<std::string>;
using Reporter = ProcMgr::SensorNodeEventReporter;
using testing::ElementsAreArray;

// Timeline prefixes of the reporter's syslog lines, by the priorities fault management filters on.
const std::string ERR = "syslog 0x16b SensorNodeEventReporter ";
const std::string INFO = "syslog 0x16e SensorNodeEventReporter ";
constexpr uint16_t OS_NODE_TYPE = 0x0617;
constexpr uint8_t OS_SENSOR_TYPE = 0xD0;
constexpr uint8_t APP_SENSOR_TYPE = 0x27;

ProcMgr::SensorNodeConfig Node(const std::string& name, int32_t reportScope = -1, uint16_t nodeType = OS_NODE_TYPE,
                               uint8_t sensorType = OS_SENSOR_TYPE)
{
    return {name, nodeType, sensorType, reportScope};
}

void ResetHal(uint32_t devices, std::map<std::string, int> failures = {}, int devNumRet = 0)
{
    Fakes::ResetAll();
    Fakes::SetHal({devices, devNumRet, std::move(failures)});
}

struct TimelineCase {
    const char* guards;
    uint32_t devices;
    std::map<std::string, int> failures;
    std::function<void(Reporter&)> act;
    Lines timeline;  // every HAL call and syslog message, in order
};

TEST(Reporter, HalCallsAndSyslogMessagesInOrder)
{
    const std::string name19(19, 'n');
    const std::string name20(20, 'n');
    const TimelineCase rows[] = {
        {"19-byte name, positive scope: device 0 alone, count not asked",
         4,
         {},
         [&](Reporter& r) { EXPECT_TRUE(r.RegisterSensorNode(Node(name19, 1))); },
         {"hal register dev=0 name=" + name19 + " ret=0 handle=1",
          INFO + "RegisterSensorNode for " + name19 + " success, nodeType=0x617, sensorType=0xd0, reportIds size=1"}},
        {"20-byte name leaves no room for the zero: refused and never registered",
         4,
         {},
         [&](Reporter& r) {
             EXPECT_FALSE(r.RegisterSensorNode(Node(name20, 1)));
             EXPECT_TRUE(r.UnregisterAllSensorNodes());
         },
         {ERR + "RegisterSensorNode Copy sensor node name for " + name20 + " failed."}},
        {"scopes 0 and -1: every device in order, count asked once",
         4,
         {},
         [](Reporter& r) {
             EXPECT_TRUE(r.RegisterSensorNode(Node("a", 0, OS_NODE_TYPE, APP_SENSOR_TYPE)));
             EXPECT_TRUE(r.RegisterSensorNode(Node("b", -1, 0x1234, APP_SENSOR_TYPE)));
         },
         {"hal devnum ret=0 count=4", INFO + "GetDeviceNum success. devNum=4",
          "hal register dev=0 name=a ret=0 handle=1", "hal register dev=1 name=a ret=0 handle=2",
          "hal register dev=2 name=a ret=0 handle=3", "hal register dev=3 name=a ret=0 handle=4",
          INFO + "RegisterSensorNode for a success, nodeType=0x617, sensorType=0x27, reportIds size=4",
          "hal register dev=0 name=b ret=0 handle=5", "hal register dev=1 name=b ret=0 handle=6",
          "hal register dev=2 name=b ret=0 handle=7", "hal register dev=3 name=b ret=0 handle=8",
          INFO + "RegisterSensorNode for b success, nodeType=0x1234, sensorType=0x27, reportIds size=4"}},
        {"registering a known name again changes nothing, not even the types",
         2,
         {},
         [](Reporter& r) {
             EXPECT_TRUE(r.RegisterSensorNode(Node("n")));
             EXPECT_TRUE(r.RegisterSensorNode(Node("n", 1, OS_NODE_TYPE, APP_SENSOR_TYPE)));
             r.ReportEvent("n", 1);
         },
         {"hal devnum ret=0 count=2", INFO + "GetDeviceNum success. devNum=2",
          "hal register dev=0 name=n ret=0 handle=1", "hal register dev=1 name=n ret=0 handle=2",
          INFO + "RegisterSensorNode for n success, nodeType=0x617, sensorType=0xd0, reportIds size=2",
          "hal update dev=0 handle=1 fault=1 event=1 ret=0",
          INFO + "ReportEvent success.(nodeName=n,id=0,fault=1,event=1)",
          "hal update dev=1 handle=2 fault=1 event=1 ret=0",
          INFO + "ReportEvent success.(nodeName=n,id=1,fault=1,event=1)"}},
        {"events 1,1,0,0,1: only the three changes are reported",
         1,
         {},
         [](Reporter& r) {
             EXPECT_TRUE(r.RegisterSensorNode(Node("os-memory", 1)));
             for (const int32_t event : {1, 1, 0, 0, 1}) {
                 r.ReportEvent("os-memory", event);
             }
         },
         {"hal register dev=0 name=os-memory ret=0 handle=1",
          INFO + "RegisterSensorNode for os-memory success, nodeType=0x617, sensorType=0xd0, reportIds size=1",
          "hal update dev=0 handle=1 fault=1 event=1 ret=0",
          INFO + "ReportEvent success.(nodeName=os-memory,id=0,fault=1,event=1)",
          "hal update dev=0 handle=1 fault=1 event=0 ret=0",
          INFO + "ReportEvent success.(nodeName=os-memory,id=0,fault=1,event=0)",
          "hal update dev=0 handle=1 fault=1 event=1 ret=0",
          INFO + "ReportEvent success.(nodeName=os-memory,id=0,fault=1,event=1)"}},
        {"devices 1 and 3 refuse the node, 2 fails the update: refusers are left out, nothing repeated",
         4,
         {{"register@1", 7}, {"register@3", -1}, {"update@2", 3}},
         [](Reporter& r) {
             EXPECT_TRUE(r.RegisterSensorNode(Node("os-memory")));
             r.ReportEvent("os-memory", 1);
             r.ReportEvent("os-memory", 1);
             EXPECT_TRUE(r.UnregisterSensorNode("os-memory"));
         },
         {"hal devnum ret=0 count=4", INFO + "GetDeviceNum success. devNum=4",
          "hal register dev=0 name=os-memory ret=0 handle=1", "hal register dev=1 name=os-memory ret=7 handle=0",
          ERR + "RegisterSensorNode for os-memory failed. (ret=7)", "hal register dev=2 name=os-memory ret=0 handle=2",
          "hal register dev=3 name=os-memory ret=-1 handle=0",
          ERR + "RegisterSensorNode for os-memory failed. (ret=4294967295)",
          INFO + "RegisterSensorNode for os-memory success, nodeType=0x617, sensorType=0xd0, reportIds size=4",
          "hal update dev=0 handle=1 fault=1 event=1 ret=0",
          INFO + "ReportEvent success.(nodeName=os-memory,id=0,fault=1,event=1)",
          "hal update dev=2 handle=2 fault=1 event=1 ret=3",
          ERR + "ReportEvent failed.(nodeName=os-memory,id=2,fault=1,event=1,ret=3)",
          "hal unregister dev=0 handle=1 ret=0", "hal unregister dev=2 handle=2 ret=0"}},
        {"unregistration fails on device 1: the others go, the node leaves the registry",
         3,
         {{"unregister@1", -2}},
         [](Reporter& r) {
             EXPECT_TRUE(r.RegisterSensorNode(Node("app")));
             EXPECT_FALSE(r.UnregisterSensorNode("app"));
             EXPECT_TRUE(r.UnregisterSensorNode("app"));
             r.ReportEvent("app", 1);
         },
         {"hal devnum ret=0 count=3", INFO + "GetDeviceNum success. devNum=3",
          "hal register dev=0 name=app ret=0 handle=1", "hal register dev=1 name=app ret=0 handle=2",
          "hal register dev=2 name=app ret=0 handle=3",
          INFO + "RegisterSensorNode for app success, nodeType=0x617, sensorType=0xd0, reportIds size=3",
          "hal unregister dev=0 handle=1 ret=0", "hal unregister dev=1 handle=2 ret=-2",
          ERR + "UnregisterSensorNode for app failed. (id=1,ret=4294967294)", "hal unregister dev=2 handle=3 ret=0"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.guards);
        ResetHal(row.devices, row.failures);
        ProcMgr::DeviceCount deviceCount;
        Reporter reporter(deviceCount);
        row.act(reporter);
        EXPECT_THAT(Fakes::Timeline(), ElementsAreArray(row.timeline));
    }
}

TEST(Reporter, HalRecordCarriesNameAndTypesInHostOrderAndZeroesElsewhere)
{
    ResetHal(2);
    ProcMgr::DeviceCount deviceCount;
    Reporter reporter(deviceCount);
    const std::string name = "abcdefghijklmnopqrs";
    const uint16_t nodeType = 0x1234;
    ASSERT_TRUE(reporter.RegisterSensorNode(Node(name, 0, nodeType, 0xFF)));

    std::vector<unsigned char> expected(64, 0);
    std::memcpy(expected.data(), name.data(), name.size());
    std::memcpy(&expected[20], &nodeType, sizeof(nodeType));
    expected[22] = 0xFF;
    const auto calls = Fakes::HalCalls("register");
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_EQ(calls[0].record, expected);
    EXPECT_EQ(calls[1].record, expected);
}

TEST(Reporter, FaultValueFollowsTheNodeTypes)
{
    const struct {
        const char* guards;
        uint16_t nodeType;
        uint8_t sensorType;
        int32_t fault;
    } rows[] = {
        {"the os-memory node", OS_NODE_TYPE, OS_SENSOR_TYPE, 1},
        {"an application node of the os node type", OS_NODE_TYPE, APP_SENSOR_TYPE, 0},
        {"another node type", 0x0618, OS_SENSOR_TYPE, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.guards);
        ResetHal(1);
        ProcMgr::DeviceCount deviceCount;
        Reporter reporter(deviceCount);
        ASSERT_TRUE(reporter.RegisterSensorNode(Node("node", 1, row.nodeType, row.sensorType)));
        reporter.ReportEvent("node", 1);
        const auto updates = Fakes::HalCalls("update");
        ASSERT_EQ(updates.size(), 1U);
        EXPECT_EQ(updates[0].fault, row.fault);
    }
}

TEST(Reporter, DeviceCountIsAskedOnceAndUnusableAnswersMeanDeviceZero)
{
    const struct {
        const char* guards;
        int devNumRet;
        uint32_t devices;
        std::string message;
        size_t usedDevices;
    } rows[] = {
        {"128 is the largest machine", 0, 128, INFO + "GetDeviceNum success. devNum=128", 128},
        {"129 is a HAL fault", 0, 129, ERR + "GetDeviceNum fail. drvRet=0, devNum=129", 1},
        {"HAL error, count printed as left", -5, 4, ERR + "GetDeviceNum fail. drvRet=-5, devNum=4", 1},
        {"no devices at all", 0, 0, INFO + "GetDeviceNum success. devNum=0", 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.guards);
        ResetHal(row.devices, {}, row.devNumRet);
        ProcMgr::DeviceCount deviceCount;
        Reporter reporter(deviceCount);
        EXPECT_TRUE(reporter.RegisterSensorNode(Node("a")));
        EXPECT_TRUE(reporter.RegisterSensorNode(Node("b", 0)));

        EXPECT_EQ(Fakes::HalCalls("devnum").size(), 1U);
        EXPECT_THAT(Fakes::TimelineWith("syslog "), testing::Contains(row.message));
        EXPECT_EQ(Fakes::HalCalls("register").size(), 2 * row.usedDevices);
    }
}

TEST(Reporter, UnregisterAllVisitsEveryHandleByNameThenDeviceAndEmptiesTheRegistry)
{
    const struct {
        const char* guards;
        std::map<std::string, int> failures;
        bool result;
        size_t failureLines;
    } rows[] = {
        {"every device lets go", {}, true, 0},
        {"device 0 fails for every node", {{"unregister@0", 4}}, false, 5},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.guards);
        ResetHal(2, row.failures);
        ProcMgr::DeviceCount deviceCount;
        Reporter reporter(deviceCount);
        for (const char* name : {"os-memory", "app-b", "APP", "app-a", "app"}) {
            ASSERT_TRUE(reporter.RegisterSensorNode(Node(name)));
        }
        std::map<uint64_t, std::string> nameOfHandle;
        for (const auto& call : Fakes::HalCalls("register")) {
            nameOfHandle[call.handle] = reinterpret_cast<const char*>(call.record.data());
        }

        EXPECT_EQ(reporter.UnregisterAllSensorNodes(), row.result);
        EXPECT_TRUE(reporter.UnregisterAllSensorNodes()) << "the registry must be empty";
        Lines order;
        for (const auto& call : Fakes::HalCalls("unregister")) {
            order.push_back(nameOfHandle[call.handle] + "@" + std::to_string(call.dev));
        }
        EXPECT_THAT(order, ElementsAreArray({"APP@0", "APP@1", "app@0", "app@1", "app-a@0", "app-a@1", "app-b@0",
                                             "app-b@1", "os-memory@0", "os-memory@1"}));
        EXPECT_EQ(Fakes::TimelineWith(ERR + "UnregisterSensorNode").size(), row.failureLines);
    }
}

TEST(Reporter, DefaultReportersShareTheProcessDeviceCount)
{
    ResetHal(3);
    Reporter first;
    Reporter second;
    EXPECT_TRUE(first.RegisterSensorNode(Node("first")) && second.RegisterSensorNode(Node("second")));
    EXPECT_EQ(Fakes::HalCalls("devnum").size(), 1U);
    EXPECT_EQ(Fakes::HalCalls("register").size(), 6U);
}

}  // namespace
