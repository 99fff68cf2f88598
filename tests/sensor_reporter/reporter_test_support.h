// Shared by the reporter's tests: a fixture on the recording fakes, and views of what they saw.
#ifndef TESTS_SENSOR_REPORTER_REPORTER_TEST_SUPPORT_H
#define TESTS_SENSOR_REPORTER_REPORTER_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "sensor_reporter/sensor_node_event_reporter.h"
#include "tests/fakes/fakes.h"

namespace ReporterTests {

// Timeline prefixes of syslog lines, by the priorities fault management filters on.
extern const std::string SYSLOG_ERR;
extern const std::string SYSLOG_INFO;

constexpr uint16_t OS_NODE_TYPE = 0x0617;
constexpr uint8_t OS_SENSOR_TYPE = 0xD0;
constexpr uint8_t APP_SENSOR_TYPE = 0x27;
constexpr int32_t EVERY_DEVICE = -1;
constexpr int32_t DEVICE_0_ONLY = 1;

ProcMgr::SensorNodeConfig Node(const std::string& name, int32_t reportScope, uint16_t nodeType = OS_NODE_TYPE,
                               uint8_t sensorType = OS_SENSOR_TYPE);

using DeviceHandle = std::pair<uint32_t, uint64_t>;
// The (device, handle) pairs of the calls, in call order.
std::vector<DeviceHandle> Targets(const std::vector<Fakes::HalCall>& calls);
std::vector<Fakes::HalCall> Succeeded(const std::vector<Fakes::HalCall>& calls);
std::vector<uint32_t> Devices(const std::vector<Fakes::HalCall>& calls);
// The node name in the HAL record of a registration call.
std::string RecordName(const Fakes::HalCall& registerCall);
std::vector<std::string> SyslogLines();
std::vector<std::string> SyslogLinesWith(const std::string& needle);

// Names a parameterised test after its row's guards text, so a failure says what broke.
std::string CamelCaseName(const std::string& text);
struct RowName {
    template <class Row>
    std::string operator()(const testing::TestParamInfo<Row>& row) const
    {
        return CamelCaseName(row.param.guards);
    }
};

class ReporterTest : public testing::Test {
protected:
    void SetUp() override;
    static void SetDevices(uint32_t devices, const std::map<std::string, int>& failures = {});

    ProcMgr::DeviceCount deviceCount;
    ProcMgr::SensorNodeEventReporter reporter{deviceCount};
};

}  // namespace ReporterTests

#endif
