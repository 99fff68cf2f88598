#include <gmock/gmock.h>

#include "tests/sensor_reporter/reporter_test_support.h"

namespace ReporterTests {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

struct UnregisterFailureCase {
    const char* guards;
    int ret;
    std::string printedRet;
};

class UnregisterFailureTest : public ReporterTest, public testing::WithParamInterface<UnregisterFailureCase> {};

TEST_P(UnregisterFailureTest, FailingDeviceIsReportedTheOthersGoAndTheNameIsFree)
{
    const UnregisterFailureCase& row = GetParam();
    SetDevices(3, {{"unregister@1", row.ret}});
    ASSERT_TRUE(reporter.RegisterSensorNode(Node("app", EVERY_DEVICE)));
    const auto registered = Targets(Fakes::HalCalls("register"));
    const size_t linesBefore = SyslogLines().size();

    EXPECT_FALSE(reporter.UnregisterSensorNode("app"));
    EXPECT_EQ(Targets(Fakes::HalCalls("unregister")), registered);
    const auto lines = SyslogLines();
    EXPECT_THAT(std::vector<std::string>(lines.begin() + static_cast<std::ptrdiff_t>(linesBefore), lines.end()),
                ElementsAre(SYSLOG_ERR + "SensorNodeEventReporter UnregisterSensorNode for app failed. (id=1,ret=" +
                            row.printedRet + ")"))
        << row.guards;

    EXPECT_TRUE(reporter.UnregisterSensorNode("app")) << "the node is gone";
    reporter.ReportEvent("app", 1);
    EXPECT_EQ(Fakes::HalCalls("unregister").size(), 3U);
    EXPECT_THAT(Fakes::HalCalls("update"), IsEmpty());
    EXPECT_TRUE(reporter.RegisterSensorNode(Node("app", EVERY_DEVICE)));
    EXPECT_EQ(Fakes::HalCalls("register").size(), 6U) << "a new registration goes to the HAL again";
}

INSTANTIATE_TEST_SUITE_P(Failures, UnregisterFailureTest,
                         testing::Values(UnregisterFailureCase{"positive HAL result", 9, "9"},
                                         UnregisterFailureCase{"negative HAL result printed unsigned", -2, "4294967294"}), RowName());

TEST_F(ReporterTest, NothingToUnregisterSucceedsQuietly)
{
    EXPECT_TRUE(reporter.UnregisterSensorNode("never-registered"));
    EXPECT_TRUE(reporter.UnregisterAllSensorNodes());
    EXPECT_THAT(Fakes::Timeline(), IsEmpty());
}

struct UnregisterAllCase {
    const char* guards;
    std::map<std::string, int> failures;
    bool result;
    std::vector<std::string> failingNodes;
};

class UnregisterAllTest : public ReporterTest, public testing::WithParamInterface<UnregisterAllCase> {};

TEST_P(UnregisterAllTest, EveryHandleGoesByNameThenDeviceAndTheRegistryEmpties)
{
    const UnregisterAllCase& row = GetParam();
    SetDevices(2, row.failures);
    for (const char* name : {"os-memory", "app-b", "APP", "app-a", "app"}) {
        ASSERT_TRUE(reporter.RegisterSensorNode(Node(name, EVERY_DEVICE)));
    }
    std::map<uint64_t, std::string> nameOfHandle;
    for (const auto& call : Fakes::HalCalls("register")) {
        nameOfHandle[call.handle] = RecordName(call);
    }

    EXPECT_EQ(reporter.UnregisterAllSensorNodes(), row.result) << row.guards;
    std::vector<std::string> order;
    for (const auto& call : Fakes::HalCalls("unregister")) {
        order.push_back(nameOfHandle[call.handle] + "@" + std::to_string(call.dev));
    }
    EXPECT_THAT(order, ElementsAre("APP@0", "APP@1", "app@0", "app@1", "app-a@0", "app-a@1", "app-b@0", "app-b@1",
                                   "os-memory@0", "os-memory@1"))
        << row.guards;
    std::vector<std::string> expectedLines;
    for (const auto& name : row.failingNodes) {
        expectedLines.push_back(SYSLOG_ERR + "SensorNodeEventReporter UnregisterSensorNode for " + name +
                                " failed. (id=0,ret=4)");
    }
    EXPECT_THAT(SyslogLinesWith("UnregisterSensorNode"), ElementsAreArray(expectedLines)) << row.guards;

    EXPECT_TRUE(reporter.UnregisterAllSensorNodes());
    EXPECT_EQ(Fakes::HalCalls("unregister").size(), 10U) << "the registry must be empty";
}

INSTANTIATE_TEST_SUITE_P(Results, UnregisterAllTest,
                         testing::Values(UnregisterAllCase{"every device lets go", {}, true, {}},
                                         UnregisterAllCase{"device 0 fails for every node, all still visited",
                                                           {{"unregister@0", 4}},
                                                           false,
                                                           {"APP", "app", "app-a", "app-b", "os-memory"}}), RowName());

}  // namespace
}  // namespace ReporterTests
