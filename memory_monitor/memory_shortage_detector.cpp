#include <optional>
#include <type_traits>

#include "memory_monitor/memory_monitor.h"
#include "platform/launcher_log.h"

namespace ProcMgr {

// The band message prints the sum with %lu.
static_assert(std::is_same_v<uint64_t, unsigned long>, "uint64_t must be unsigned long");

const std::string OS_MEMORY_NODE_NAME = "os-memory";

namespace {
constexpr double CHECK_PERIOD_SECONDS = 60.0;
constexpr double NANOSECONDS_PER_SECOND = 1000000000.0;
constexpr uint64_t SHORTAGE_BELOW_KB = 16384;
constexpr uint64_t RECOVERED_ABOVE_KB = 32768;
// 100 TiB: no platform has that much; a sum reaching it means a value read is wrong.
constexpr uint64_t SUM_LIMIT_KB = 100ULL * 1024 * 1024 * 1024;
constexpr int32_t EVENT_SHORTAGE = 1;
constexpr int32_t EVENT_SUFFICIENT = 0;
}  // namespace

MemoryShortageDetector::MemoryShortageDetector(std::string_view nodeDir, ClockFunction clock, StopTest stopTest)
    : sysfsDir(nodeDir), now(clock), stopRequested(stopTest)
{
}

void MemoryShortageDetector::Check(SensorNodeEventReporter& reporter)
{
    const Clock::time_point current = now();
    if (!started) {
        started = true;
        lastCheck = current;
        return;
    }
    const auto elapsedNs = std::chrono::duration_cast<std::chrono::nanoseconds>(current - lastCheck).count();
    if (static_cast<double>(elapsedNs) / NANOSECONDS_PER_SECOND < CHECK_PERIOD_SECONDS) {
        return;
    }
    lastCheck = current;
    if (!disabled) {
        RunDueCheck(reporter);
    }
}

// Empty when a node cannot be read, the sum would reach the limit or the daemon is stopping.
std::optional<uint64_t> MemoryShortageDetector::SumFreeMemory() const
{
    uint64_t sumKb = 0;
    for (const int32_t id : osNodes) {
        uint64_t freeKb = 0;
        if (stopRequested() || !GetNumaNodeFreeMemory(id, freeKb, sysfsDir) || freeKb >= SUM_LIMIT_KB - sumKb) {
            return std::nullopt;
        }
        sumKb += freeKb;
    }
    return sumKb;
}

void MemoryShortageDetector::RunDueCheck(SensorNodeEventReporter& reporter)
{
    if (osNodes.empty() && !GetOsManagedNumaNodes(osNodes, sysfsDir)) {
        disabled = true;
        return;
    }
    if (osNodes.empty()) {
        reporter.ReportEvent(OS_MEMORY_NODE_NAME, EVENT_SHORTAGE);
        return;
    }
    const std::optional<uint64_t> sumKb = SumFreeMemory();
    if (!sumKb) {
        return;
    }
    if (*sumKb < SHORTAGE_BELOW_KB) {
        reporter.ReportEvent(OS_MEMORY_NODE_NAME, EVENT_SHORTAGE);
    } else if (*sumKb <= RECOVERED_ABOVE_KB) {
        LAUNCHER_LOG_INFO("Not need reporting system memory shortage. (freeSize=%luKB)", *sumKb);
    } else {
        reporter.ReportEvent(OS_MEMORY_NODE_NAME, EVENT_SUFFICIENT);
    }
}

}  // namespace ProcMgr
