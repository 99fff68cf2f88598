#include <sstream>
#include <type_traits>

#include "memory_monitor/memory_monitor.h"
#include "platform/launcher_log.h"

namespace ProcMgr {

// The log formats print KB counts with %lu, and std::stoul gives the count.
static_assert(std::is_same_v<uint64_t, unsigned long>, "uint64_t must be unsigned long");

namespace {
constexpr std::string_view MEM_FREE_KEY = "MemFree:";
constexpr std::string_view KB_UNIT = "kB";
}  // namespace

std::optional<uint64_t> ParseMemFree(const std::string& text)
{
    std::istringstream lines(text);
    // A line that memory cannot hold ends the read with the allocator's failure, not quietly.
    lines.exceptions(std::ios::badbit);
    std::string line;
    // A line reading "-1" also gives NO_FREE_SIZE, as strtoul negates.
    uint64_t found = NO_FREE_SIZE;
    while (std::getline(lines, line)) {
        const size_t key = line.find(MEM_FREE_KEY);
        if (key == std::string::npos) {
            continue;
        }
        const size_t numberBegin = key + MEM_FREE_KEY.size();
        const size_t unit = line.find(KB_UNIT);
        if (unit == std::string::npos) {
            continue;
        }
        // No kernel writes such a line: the file is not what it claims, and reading on would let a
        // hostile one log a record per line.
        if (unit <= numberBegin) {
            LAUNCHER_LOG_ERROR("Get numa node free memory, line invalid. (line=%s)", line.c_str());
            return std::nullopt;
        }
        found = std::stoul(line.substr(numberBegin, unit - numberBegin));
    }
    return found;
}

bool GetNumaNodeFreeMemory(int32_t nodeId, uint64_t& freeKb, std::string_view sysfsDir)
{
    const std::string path = std::string(sysfsDir) + "/node" + std::to_string(nodeId) + "/meminfo";
    std::optional<uint64_t> found;
    try {
        const std::optional<std::string> text = ReadSysfsFile(path);
        if (!text) {
            LAUNCHER_LOG_ERROR("Cannot open node statistic file %s.", path.c_str());
            return false;
        }
        found = ParseMemFree(*text);
    } catch (const std::exception& error) {
        LAUNCHER_LOG_ERROR("Get numa node free memory, exception is throwed. (file=%s,detail=%s)", path.c_str(),
                           error.what());
        return false;
    }
    if (!found) {
        return false;
    }
    if (*found == NO_FREE_SIZE) {
        LAUNCHER_LOG_ERROR("Get numa node free memory, not find free size item. (file=%s)", path.c_str());
        return false;
    }
    freeKb = *found;
    LAUNCHER_LOG_INFO("Get numa node free memory Success. (node=%d,freeSize=%luKB)", nodeId, *found);
    return true;
}

}  // namespace ProcMgr
