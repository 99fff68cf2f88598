#include "tests/sensor_reporter/reporter_test_support.h"

#include <cctype>
#include <cstring>

namespace ReporterTests {

const std::string SYSLOG_ERR = "syslog 0x16b ";
const std::string SYSLOG_INFO = "syslog 0x16e ";

ProcMgr::SensorNodeConfig Node(const std::string& name, int32_t reportScope, uint16_t nodeType, uint8_t sensorType)
{
    ProcMgr::SensorNodeConfig config;
    config.name = name;
    config.nodeType = nodeType;
    config.sensorType = sensorType;
    config.reportScope = reportScope;
    return config;
}

std::vector<DeviceHandle> Targets(const std::vector<Fakes::HalCall>& calls)
{
    std::vector<DeviceHandle> targets;
    for (const auto& call : calls) {
        targets.emplace_back(call.dev, call.handle);
    }
    return targets;
}

std::vector<Fakes::HalCall> Succeeded(const std::vector<Fakes::HalCall>& calls)
{
    std::vector<Fakes::HalCall> succeeded;
    for (const auto& call : calls) {
        if (call.ret == 0) {
            succeeded.push_back(call);
        }
    }
    return succeeded;
}

std::vector<uint32_t> Devices(const std::vector<Fakes::HalCall>& calls)
{
    std::vector<uint32_t> devices;
    for (const auto& call : calls) {
        devices.push_back(call.dev);
    }
    return devices;
}

std::string RecordName(const Fakes::HalCall& registerCall)
{
    const auto* name = reinterpret_cast<const char*>(registerCall.record.data());
    return std::string(name, strnlen(name, registerCall.record.size()));
}

std::vector<std::string> SyslogLines()
{
    return Fakes::TimelineWith("syslog ");
}

std::vector<std::string> SyslogLinesWith(const std::string& needle)
{
    std::vector<std::string> matching;
    for (const auto& line : SyslogLines()) {
        if (line.find(needle) != std::string::npos) {
            matching.push_back(line);
        }
    }
    return matching;
}

std::string CamelCaseName(const std::string& text)
{
    std::string name;
    bool wordStart = true;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (std::isalnum(byte) == 0) {
            wordStart = true;
            continue;
        }
        name += wordStart ? static_cast<char>(std::toupper(byte)) : c;
        wordStart = false;
    }
    return name;
}

void ReporterTest::SetUp()
{
    Fakes::ResetAll();
}

void ReporterTest::SetDevices(uint32_t devices, const std::map<std::string, int>& failures)
{
    Fakes::HalSetup setup;
    setup.devices = devices;
    setup.failures = failures;
    Fakes::SetHal(setup);
}

}  // namespace ReporterTests
