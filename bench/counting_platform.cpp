#include "bench/counting_platform.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <syslog.h>

#include "platform/group_owner.h"
#include "platform/slog.h"
#include "platform/tarsel_hal.h"

namespace ProcMgr::Bench {
namespace {

thread_local PlatformCalls calls;
std::atomic<uint32_t> deviceCount{1};
std::atomic<uint64_t> nextHandle{1};

// Device 0 only, so that a state change costs one HAL update whatever the device count.
constexpr AppSensorConfig APP_ON_DEVICE_ZERO{0x0100, 1};

// Never deleted through its base, whose destructor is protected; so its own need not be virtual.
class AcceptingGroupOwner final : public ProcMgrGrpOwner {  // NOLINT(cppcoreguidelines-virtual-class-destructor)
public:
    int Configure(const GrpOwnerStartupConfig& /*config*/) override { return 0; }
    int Start() override { return 0; }
    int Stop() override { return 0; }
    int Run() override { return 0; }
    int GetAppSensorConfig(const std::string& /*appName*/, AppSensorConfig& config) override
    {
        config = APP_ON_DEVICE_ZERO;
        return 0;
    }
    int RegisterAppStateCallback(AppStateCallback /*callback*/) override { return 0; }
    int SetRunning(int /*running*/) override { return 0; }
    int RestartApp(const std::string& /*appName*/) override
    {
        ++calls.restarts;
        return 0;
    }
};

// What any syslog pays before its socket write: the formatting.
__attribute__((format(printf, 1, 0))) void FormatAndDrop(const char* fmt, va_list args)
{
    char message[512];
    std::vsnprintf(message, sizeof(message), fmt, args);
    ++calls.syslogMessages;
}

}  // namespace

PlatformCalls CallsOnThisThread()
{
    return calls;
}

void SetDeviceCount(uint32_t count)
{
    deviceCount.store(count);
}

}  // namespace ProcMgr::Bench

ProcMgr::ProcMgrGrpOwner* ProcMgr::ProcMgrGrpOwner::GetInstance()
{
    static Bench::AcceptingGroupOwner service;
    return &service;
}

using ProcMgr::Bench::calls;

extern "C" {

int CheckLogLevel(int /*moduleId*/, int /*level*/)
{
    return 0;
}

void DlogRecord(int /*moduleId*/, int /*level*/, const char* /*fmt*/, ...) {}

void DlogFlush(void) {}

int drvGetDevNum(uint32_t* devNum)
{
    *devNum = ProcMgr::Bench::deviceCount.load();
    return 0;
}

int halSensorNodeRegister(uint32_t /*devId*/, HalSensorNodeConfig* /*config*/, uint64_t* handle)
{
    *handle = ProcMgr::Bench::nextHandle.fetch_add(1);
    ++calls.halRegistrations;
    return 0;
}

int halSensorNodeUnregister(uint32_t /*devId*/, uint64_t /*handle*/)
{
    ++calls.halUnregistrations;
    return 0;
}

int halSensorNodeUpdateState(uint32_t /*devId*/, uint64_t /*handle*/, int32_t /*fault*/, int32_t /*event*/)
{
    ++calls.halUpdates;
    return 0;
}

// Ours take the place of the C library's in the benchmark executables, also in the fortified form.
__attribute__((format(printf, 2, 3))) void syslog(int /*priority*/, const char* fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    ProcMgr::Bench::FormatAndDrop(fmt, args);
    va_end(args);
}

// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming): the C library's name
__attribute__((format(printf, 3, 4))) void __syslog_chk(int /*priority*/, int /*flag*/, const char* fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    ProcMgr::Bench::FormatAndDrop(fmt, args);
    va_end(args);
}
}
