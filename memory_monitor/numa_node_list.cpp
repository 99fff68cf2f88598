#include <sstream>
#include <stdexcept>

#include "memory_monitor/memory_monitor.h"
#include "platform/launcher_log.h"

namespace ProcMgr {
namespace {

const std::string RANGE_TOO_WIDE = "range wider than " + std::to_string(MAX_NUMA_NODES) + " ids";

// Appends the ids of one item; throws with the failure detail. A misplaced "-" or a reversed range
// yields nothing, silently.
void AppendNodeListIds(const std::string& item, std::vector<int32_t>& ids)
{
    const size_t dash = item.find('-');
    if (dash == std::string::npos) {
        ids.push_back(std::stoi(item));
        return;
    }
    if (dash == 0 || dash == item.size() - 1) {
        return;
    }
    const int32_t lower = std::stoi(item.substr(0, dash));
    const int32_t upper = std::stoi(item.substr(dash + 1));
    if (lower > upper) {
        return;
    }
    if (static_cast<size_t>(int64_t{upper} - lower) + 1 > MAX_NUMA_NODES) {
        throw std::length_error(RANGE_TOO_WIDE);
    }
    // Counted in 64 bits so that a range ending at the largest id stops instead of wrapping.
    for (int64_t id = lower; id <= upper; ++id) {
        ids.push_back(static_cast<int32_t>(id));
    }
}

}  // namespace

std::vector<int32_t> GetNumaNodeList(const std::string& item)
{
    std::vector<int32_t> ids;
    if (item.empty()) {
        return ids;
    }
    LAUNCHER_LOG_INFO("Get numa node %s.", item.c_str());
    try {
        AppendNodeListIds(item, ids);
    } catch (const std::exception& error) {
        LAUNCHER_RUNLOG_INFO("Get numa node list, exception is throwed. (str=%s,detail=%s)", item.c_str(),
                             error.what());
    }
    return ids;
}

bool ParseNodeList(const std::string& text, NumaNodeSet& ids)
{
    std::istringstream items(text);
    // An item that memory cannot hold ends the read with the allocator's failure, not quietly.
    items.exceptions(std::ios::badbit);
    std::string item;
    for (size_t taken = 0; std::getline(items, item, ','); ++taken) {
        if (taken == MAX_NUMA_NODES) {
            return false;
        }
        for (const int32_t id : GetNumaNodeList(item)) {
            if (ids.size() == MAX_NUMA_NODES && ids.count(id) == 0) {
                return false;
            }
            ids.insert(id);
        }
    }
    return true;
}

}  // namespace ProcMgr
