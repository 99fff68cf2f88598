// Recording fakes of the platform for unit tests: the HAL, the logging library, syslog, the
// messaging library and a gmock group-owner service. Every fake appends what it sees to one
// timeline, so tests can check the order of calls across libraries.
#ifndef TESTS_FAKES_FAKES_H
#define TESTS_FAKES_FAKES_H

#include <cstdint>
#include <functional>
#include <gmock/gmock.h>
#include <map>
#include <string>
#include <vector>

#include "platform/group_owner.h"

namespace Fakes {

// Puts every fake back to its defaults and empties the timeline.
void ResetAll();

// Lines such as "hal register dev=0 name=os-memory ret=0 handle=1" or "syslog 0x16e TEXT", in
// call order.
std::vector<std::string> Timeline();
void RecordTimeline(const std::string& line);
// Lines of the timeline that start with prefix.
std::vector<std::string> TimelineWith(const std::string& prefix);

// ---- device HAL ----
struct HalCall {
    std::string op;  // "devnum", "register", "unregister", "update"
    uint32_t dev = 0;
    uint64_t handle = 0;
    int32_t fault = 0;
    int32_t event = 0;
    std::vector<unsigned char> record{};  // register: the 64 bytes of the HAL record
};
struct HalSetup {
    uint32_t devices = 1;
    int devNumRet = 0;
    // op@dev -> result, e.g. {"register@1", 7}
    std::map<std::string, int> failures;
};
void SetHal(const HalSetup& setup);
std::vector<HalCall> HalCalls();
std::vector<HalCall> HalCalls(const std::string& op);

// ---- logging library ----
struct LogRecord {
    int moduleId = 0;
    int level = 0;
    std::string text;  // fully formatted
};
struct LogSetup {
    int minLevel = 1;
    bool runLog = true;  // false: CheckLogLevel answers 0 for modules with the run-log flag
};
void SetLog(const LogSetup& setup);
std::vector<LogRecord> LogRecords();
// true when a record's text contains needle.
bool LogContains(const std::string& needle);

// ---- messaging library ----
struct EzcomCall {
    std::string function;  // "SendRequest", "SendResponse", "RPCSync", "TimedRPCSync", "ClosePipe"
    int pipe = 0;
    const void* request = nullptr;
    const void* response = nullptr;
    int timeout = 0;
};
// Answers every call; the default answers 0.
void SetEzcomAnswer(std::function<int(const EzcomCall&)> answer);
std::vector<EzcomCall> EzcomCalls();

// ---- group-owner service: while a MockGrpOwner lives, ProcMgrGrpOwner::GetInstance() returns it ----
// Never deleted through its base, whose destructor is protected; so its own need not be virtual.
class MockGrpOwner : public ProcMgr::ProcMgrGrpOwner {  // NOLINT(cppcoreguidelines-virtual-class-destructor)
public:
    MockGrpOwner();
    ~MockGrpOwner();
    MOCK_METHOD(int, Configure, (const ProcMgr::GrpOwnerStartupConfig&), (override));
    MOCK_METHOD(int, Start, (), (override));
    MOCK_METHOD(int, Stop, (), (override));
    MOCK_METHOD(int, Run, (), (override));
    MOCK_METHOD(int, GetAppSensorConfig, (const std::string&, ProcMgr::AppSensorConfig&), (override));
    MOCK_METHOD(int, RegisterAppStateCallback, (ProcMgr::AppStateCallback), (override));
    MOCK_METHOD(int, SetRunning, (int), (override));
    MOCK_METHOD(int, RestartApp, (const std::string&), (override));
};

}  // namespace Fakes

#endif
