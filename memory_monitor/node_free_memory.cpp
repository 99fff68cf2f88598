#include <limits>
#include <new>
#include <optional>
#include <type_traits>

#include "memory_monitor/decimal_number.h"
#include "memory_monitor/meminfo_line.h"
#include "memory_monitor/memory_monitor.h"
#include "memory_monitor/record_file.h"
#include "platform/launcher_log.h"

namespace ProcMgr {

// The log formats print KB counts with %lu.
static_assert(std::is_same_v<uint64_t, unsigned long>, "uint64_t must be unsigned long");

namespace {
constexpr std::string_view MEM_FREE_KEY = "MemFree:";
constexpr std::string_view KB_UNIT = "kB";
// Stands for "no value found yet"; a line reading "-1" also yields it, as strtoul negates.
constexpr uint64_t NO_VALUE = std::numeric_limits<uint64_t>::max();

// Returns the failure detail of the read, or an empty text; found keeps the last value read.
std::string ReadMemFree(RecordFile& file, uint64_t& found)
{
    try {
        std::string_view line;
        while (file.Next('\n', line)) {
            uint64_t value = 0;
            switch (ParseMemFreeLine(line, value)) {
                case MemFreeLine::NOT_MEM_FREE:
                    break;
                case MemFreeLine::INVALID:
                    LAUNCHER_LOG_ERROR("Get numa node free memory, line invalid. (line=%s)", std::string(line).c_str());
                    break;
                case MemFreeLine::BAD_NUMBER:
                    return MEM_FREE_CONVERSION_FAILURE;
                case MemFreeLine::VALUE:
                    found = value;
                    break;
            }
        }
    } catch (const std::bad_alloc& error) {
        return error.what();
    }
    return file.Failure();
}

}  // namespace

MemFreeLine ParseMemFreeLine(std::string_view line, uint64_t& freeKb)
{
    const size_t key = line.find(MEM_FREE_KEY);
    if (key == std::string_view::npos) {
        return MemFreeLine::NOT_MEM_FREE;
    }
    const size_t numberBegin = key + MEM_FREE_KEY.size();
    const size_t unit = line.find(KB_UNIT);
    if (unit == std::string_view::npos) {
        return MemFreeLine::NOT_MEM_FREE;
    }
    if (unit <= numberBegin) {
        return MemFreeLine::INVALID;
    }
    const std::optional<uint64_t> value = ParseLeadingUint64(line.substr(numberBegin, unit - numberBegin));
    if (!value) {
        return MemFreeLine::BAD_NUMBER;
    }
    freeKb = *value;
    return MemFreeLine::VALUE;
}

bool GetNumaNodeFreeMemory(int32_t nodeId, uint64_t& freeKb, std::string_view sysfsDir)
{
    const std::string path = std::string(sysfsDir) + "/node" + std::to_string(nodeId) + "/meminfo";
    RecordFile file;
    if (!file.Open(path)) {
        LAUNCHER_LOG_ERROR("Cannot open node statistic file %s.", path.c_str());
        return false;
    }
    uint64_t found = NO_VALUE;
    const std::string failure = ReadMemFree(file, found);
    if (!failure.empty()) {
        LAUNCHER_LOG_ERROR("Get numa node free memory, exception is throwed. (file=%s,detail=%s)", path.c_str(),
                           failure.c_str());
        return false;
    }
    if (found == NO_VALUE) {
        LAUNCHER_LOG_ERROR("Get numa node free memory, not find free size item. (file=%s)", path.c_str());
        return false;
    }
    freeKb = found;
    LAUNCHER_LOG_INFO("Get numa node free memory Success. (node=%d,freeSize=%luKB)", nodeId, found);
    return true;
}

}  // namespace ProcMgr
