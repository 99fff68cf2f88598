// One node-list item: a single id must agree with std::stoi; a range must be bounded and rise by one.
#include <stdexcept>
#include <string>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "memory_monitor/memory_monitor.h"
#include "memory_monitor/numa_node_list.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string item(reinterpret_cast<const char*>(data), size);
    const std::vector<int32_t> ids = ProcMgr::GetNumaNodeList(item);
    if (ids.size() > static_cast<size_t>(ProcMgr::MAX_RANGE_IDS)) {
        FuzzSupport::Fail("range expanded beyond 4096 ids");
    }
    for (size_t index = 1; index < ids.size(); ++index) {
        if (int64_t{ids[index]} != int64_t{ids[index - 1]} + 1) {
            FuzzSupport::Fail("range does not rise by one");
        }
    }
    if (item.find('-') == std::string::npos) {
        std::vector<int32_t> expected;
        try {
            expected.push_back(std::stoi(item));
        } catch (const std::logic_error&) {
        }
        if (ids != expected) {
            FuzzSupport::Fail("single id disagrees with std::stoi");
        }
    }
    return 0;
}
