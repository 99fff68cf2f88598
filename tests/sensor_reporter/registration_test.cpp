#include <gmock/gmock.h>

#include <climits>
#include <cstring>

#include "tests/sensor_reporter/reporter_test_support.h"

namespace ReporterTests {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

struct NameCase {
    const char* guards;
    std::string name;
    bool fits;
};

class NameLengthTest : public ReporterTest, public testing::WithParamInterface<NameCase> {};

TEST_P(NameLengthTest, OnlyNamesThatKeepTheirTerminatingZeroReachTheHal)
{
    const NameCase& row = GetParam();
    EXPECT_EQ(reporter.RegisterSensorNode(Node(row.name, DEVICE_0_ONLY)), row.fits);
    if (row.fits) {
        ASSERT_EQ(Fakes::HalCalls("register").size(), 1U);
        EXPECT_EQ(RecordName(Fakes::HalCalls("register")[0]), row.name);
        return;
    }
    EXPECT_THAT(Fakes::HalCalls(), IsEmpty());
    EXPECT_THAT(SyslogLines(), ElementsAre(SYSLOG_ERR + "SensorNodeEventReporter RegisterSensorNode Copy sensor node name for " +
                                           row.name + " failed."));
    EXPECT_TRUE(reporter.UnregisterAllSensorNodes());
    EXPECT_THAT(Fakes::HalCalls(), IsEmpty()) << "a refused name must not enter the registry";
}

INSTANTIATE_TEST_SUITE_P(
    Names, NameLengthTest,
    testing::Values(NameCase{"19 bytes fit beside the terminating zero", std::string(19, 'n'), true},
                    NameCase{"20 bytes leave no room for the zero", std::string(20, 'n'), false},
                    NameCase{"a long name is refused and logged whole", std::string(300, 'x'), false},
                    NameCase{"the empty name is still a name", "", true}), RowName());

struct RecordCase {
    const char* guards;
    std::string name;
    uint16_t nodeType;
    uint8_t sensorType;
};

class HalRecordTest : public ReporterTest, public testing::WithParamInterface<RecordCase> {};

TEST_P(HalRecordTest, RecordCarriesNameTypesAndZeroesElsewhereOnEveryDevice)
{
    const RecordCase& row = GetParam();
    SetDevices(3);
    ASSERT_TRUE(reporter.RegisterSensorNode(Node(row.name, EVERY_DEVICE, row.nodeType, row.sensorType)));

    const auto calls = Fakes::HalCalls("register");
    ASSERT_EQ(calls.size(), 3U);
    const std::vector<unsigned char>& record = calls[0].record;
    ASSERT_EQ(record.size(), 64U);
    std::vector<unsigned char> expected(64, 0);
    std::memcpy(expected.data(), row.name.data(), row.name.size());
    std::memcpy(expected.data() + 20, &row.nodeType, sizeof(row.nodeType));
    expected[22] = row.sensorType;
    EXPECT_EQ(record, expected) << row.guards;
    EXPECT_EQ(calls[1].record, record);
    EXPECT_EQ(calls[2].record, record);
}

INSTANTIATE_TEST_SUITE_P(
    Records, HalRecordTest,
    testing::Values(RecordCase{"the os-memory node", "os-memory", OS_NODE_TYPE, OS_SENSOR_TYPE},
                    RecordCase{"19-byte name, every type bit set", "abcdefghijklmnopqrs", 0xFFFF, 0xFF},
                    RecordCase{"asymmetric node type in host order", "a", 0x1234, APP_SENSOR_TYPE}), RowName());

struct ScopeCase {
    const char* guards;
    int32_t reportScope;
    std::vector<uint32_t> devices;
    size_t devNumQueries;
};

class ReportScopeTest : public ReporterTest, public testing::WithParamInterface<ScopeCase> {};

TEST_P(ReportScopeTest, ScopeChoosesDevicesInIncreasingOrder)
{
    const ScopeCase& row = GetParam();
    SetDevices(4);
    EXPECT_TRUE(reporter.RegisterSensorNode(Node("app", row.reportScope, 0x0617, APP_SENSOR_TYPE)));

    EXPECT_THAT(Devices(Fakes::HalCalls("register")), ElementsAreArray(row.devices)) << row.guards;
    EXPECT_EQ(Fakes::HalCalls("devnum").size(), row.devNumQueries) << row.guards;
    ASSERT_FALSE(SyslogLines().empty());
    EXPECT_EQ(SyslogLines().back(), SYSLOG_INFO +
                                        "SensorNodeEventReporter RegisterSensorNode for app success, nodeType=0x617, "
                                        "sensorType=0x27, reportIds size=" +
                                        std::to_string(row.devices.size()));
}

INSTANTIATE_TEST_SUITE_P(
    Scopes, ReportScopeTest,
    testing::Values(ScopeCase{"positive: device 0 alone, count not asked", 1, {0}, 0},
                    ScopeCase{"largest positive", INT32_MAX, {0}, 0},
                    ScopeCase{"zero: every device", 0, {0, 1, 2, 3}, 1},
                    ScopeCase{"negative: every device", -1, {0, 1, 2, 3}, 1},
                    ScopeCase{"most negative: every device", INT32_MIN, {0, 1, 2, 3}, 1}), RowName());

struct RegisterFailureCase {
    const char* guards;
    std::map<std::string, int> failures;
    std::vector<uint32_t> keptDevices;
    std::vector<std::string> failureRets;
};

class RegisterFailureTest : public ReporterTest, public testing::WithParamInterface<RegisterFailureCase> {};

TEST_P(RegisterFailureTest, RefusingDevicesAreLeftOutAndTheRestKeepTheirHandles)
{
    const RegisterFailureCase& row = GetParam();
    SetDevices(4, row.failures);
    EXPECT_TRUE(reporter.RegisterSensorNode(Node("os-memory", EVERY_DEVICE)));

    std::vector<std::string> expectedLines{SYSLOG_INFO + "SensorNodeEventReporter GetDeviceNum success. devNum=4"};
    for (const auto& ret : row.failureRets) {
        expectedLines.push_back(SYSLOG_ERR + "SensorNodeEventReporter RegisterSensorNode for os-memory failed. (ret=" + ret +
                                ")");
    }
    expectedLines.push_back(SYSLOG_INFO +
                            "SensorNodeEventReporter RegisterSensorNode for os-memory success, nodeType=0x617, "
                            "sensorType=0xd0, reportIds size=4");
    EXPECT_THAT(SyslogLines(), ElementsAreArray(expectedLines)) << row.guards;

    const auto kept = Targets(Succeeded(Fakes::HalCalls("register")));
    EXPECT_THAT(Devices(Succeeded(Fakes::HalCalls("register"))), ElementsAreArray(row.keptDevices));
    reporter.ReportEvent("os-memory", 1);
    EXPECT_EQ(Targets(Fakes::HalCalls("update")), kept) << row.guards;
    EXPECT_TRUE(reporter.UnregisterSensorNode("os-memory"));
    EXPECT_EQ(Targets(Fakes::HalCalls("unregister")), kept) << row.guards;
}

INSTANTIATE_TEST_SUITE_P(
    Failures, RegisterFailureTest,
    testing::Values(RegisterFailureCase{"no device refuses", {}, {0, 1, 2, 3}, {}},
                    RegisterFailureCase{"devices 1 and 3 refuse, negative result printed unsigned",
                                        {{"register@1", 7}, {"register@3", -1}},
                                        {0, 2},
                                        {"7", "4294967295"}},
                    RegisterFailureCase{"every device refuses",
                                        {{"register@0", 5}, {"register@1", 5}, {"register@2", 5}, {"register@3", 5}},
                                        {},
                                        {"5", "5", "5", "5"}}), RowName());

struct DevNumCase {
    const char* guards;
    int devNumRet;
    uint32_t reported;
    std::string message;
    uint32_t usedDevices;
};

class DeviceCountTest : public ReporterTest, public testing::WithParamInterface<DevNumCase> {};

TEST_P(DeviceCountTest, CountIsAskedOnceAndUnusableAnswersMeanDeviceZero)
{
    const DevNumCase& row = GetParam();
    Fakes::HalSetup setup;
    setup.devices = row.reported;
    setup.devNumRet = row.devNumRet;
    Fakes::SetHal(setup);

    EXPECT_TRUE(reporter.RegisterSensorNode(Node("single", DEVICE_0_ONLY)));
    EXPECT_THAT(Fakes::HalCalls("devnum"), IsEmpty()) << "device 0 alone needs no count";
    const std::vector<std::string> allDeviceNodes{"first", "second", "third"};
    for (const auto& name : allDeviceNodes) {
        EXPECT_TRUE(reporter.RegisterSensorNode(Node(name, EVERY_DEVICE)));
    }

    EXPECT_EQ(Fakes::HalCalls("devnum").size(), 1U);
    EXPECT_THAT(SyslogLinesWith("GetDeviceNum"), ElementsAre(row.message)) << row.guards;
    std::map<std::string, uint32_t> registrations;
    for (const auto& call : Fakes::HalCalls("register")) {
        ++registrations[RecordName(call)];
    }
    for (const auto& name : allDeviceNodes) {
        EXPECT_EQ(registrations[name], row.usedDevices) << name << ": " << row.guards;
    }
    reporter.ReportEvent("third", 1);
    EXPECT_EQ(Fakes::HalCalls("update").size(), row.usedDevices) << "the node is recorded even without devices";
}

INSTANTIATE_TEST_SUITE_P(
    Answers, DeviceCountTest,
    testing::Values(
        DevNumCase{"four devices", 0, 4, SYSLOG_INFO + "SensorNodeEventReporter GetDeviceNum success. devNum=4", 4},
        DevNumCase{"128 is the largest machine", 0, 128,
                   SYSLOG_INFO + "SensorNodeEventReporter GetDeviceNum success. devNum=128", 128},
        DevNumCase{"129 is a HAL fault", 0, 129,
                   SYSLOG_ERR + "SensorNodeEventReporter GetDeviceNum fail. drvRet=0, devNum=129", 1},
        DevNumCase{"HAL error, count printed as left", -5, 4,
                   SYSLOG_ERR + "SensorNodeEventReporter GetDeviceNum fail. drvRet=-5, devNum=4", 1},
        DevNumCase{"no devices at all", 0, 0, SYSLOG_INFO + "SensorNodeEventReporter GetDeviceNum success. devNum=0", 0}), RowName());

TEST_F(ReporterTest, RegisteringAKnownNameChangesNothingEvenWithAnotherConfig)
{
    SetDevices(2);
    ASSERT_TRUE(reporter.RegisterSensorNode(Node("node", EVERY_DEVICE, OS_NODE_TYPE, OS_SENSOR_TYPE)));
    const auto timeline = Fakes::Timeline();

    EXPECT_TRUE(reporter.RegisterSensorNode(Node("node", DEVICE_0_ONLY, OS_NODE_TYPE, APP_SENSOR_TYPE)));
    EXPECT_EQ(Fakes::Timeline(), timeline) << "no HAL call and no message";

    reporter.ReportEvent("node", 1);
    const auto updates = Fakes::HalCalls("update");
    EXPECT_EQ(Targets(updates), Targets(Fakes::HalCalls("register"))) << "handles of the first registration";
    ASSERT_FALSE(updates.empty());
    EXPECT_EQ(updates[0].fault, 1) << "types of the first registration";
}

TEST_F(ReporterTest, DefaultReportersShareTheProcessDeviceCount)
{
    SetDevices(3);
    ProcMgr::SensorNodeEventReporter first;
    ProcMgr::SensorNodeEventReporter second;
    EXPECT_TRUE(first.RegisterSensorNode(Node("first", EVERY_DEVICE)));
    EXPECT_TRUE(second.RegisterSensorNode(Node("second", EVERY_DEVICE)));

    EXPECT_LE(Fakes::HalCalls("devnum").size(), 1U);
    EXPECT_EQ(Fakes::HalCalls("register").size(), 6U);
    EXPECT_EQ(&ProcMgr::ProcessDeviceCount(), &ProcMgr::ProcessDeviceCount());
    first.UnregisterAllSensorNodes();
    second.UnregisterAllSensorNodes();
}

}  // namespace
}  // namespace ReporterTests
