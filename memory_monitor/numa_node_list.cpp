#include "memory_monitor/numa_node_list.h"

#include <new>
#include <optional>

#include "memory_monitor/decimal_number.h"
#include "platform/launcher_log.h"

namespace ProcMgr {

const char* AppendNodeListIds(std::string_view item, std::vector<int32_t>& ids)
{
    const size_t dash = item.find('-');
    if (dash == std::string_view::npos) {
        const std::optional<int32_t> id = ParseLeadingInt32(item);
        if (!id) {
            return CONVERSION_FAILURE;
        }
        ids.push_back(*id);
        return nullptr;
    }
    if (dash == 0 || dash == item.size() - 1) {
        return nullptr;
    }
    const std::optional<int32_t> lower = ParseLeadingInt32(item.substr(0, dash));
    const std::optional<int32_t> upper = ParseLeadingInt32(item.substr(dash + 1));
    if (!lower || !upper) {
        return CONVERSION_FAILURE;
    }
    if (*lower > *upper) {
        return nullptr;
    }
    const int64_t count = int64_t{*upper} - *lower + 1;
    if (count > MAX_RANGE_IDS) {
        return RANGE_TOO_WIDE;
    }
    ids.reserve(ids.size() + static_cast<size_t>(count));
    // Counted in 64 bits so that a range ending at the largest id stops instead of wrapping.
    for (int64_t id = *lower; id <= *upper; ++id) {
        ids.push_back(static_cast<int32_t>(id));
    }
    return nullptr;
}

std::vector<int32_t> GetNumaNodeList(std::string_view item)
{
    std::vector<int32_t> ids;
    if (item.empty()) {
        return ids;
    }
    LAUNCHER_LOG_INFO("Get numa node %s.", std::string(item).c_str());
    const char* failure = nullptr;
    try {
        failure = AppendNodeListIds(item, ids);
    } catch (const std::bad_alloc& error) {
        failure = error.what();
    }
    if (failure != nullptr) {
        LAUNCHER_RUNLOG_INFO("Get numa node list, exception is throwed. (str=%s,detail=%s)", std::string(item).c_str(),
                             failure);
    }
    return ids;
}

std::string ReadNodeListItems(RecordFile& file, NumaNodeSet& ids)
{
    try {
        std::string_view item;
        while (file.Next(',', item)) {
            for (const int32_t id : GetNumaNodeList(item)) {
                ids.insert(id);
            }
        }
    } catch (const std::bad_alloc& error) {
        return error.what();
    }
    return file.Failure();
}

}  // namespace ProcMgr
