#include <unistd.h>

#include "memory_monitor/memory_monitor.h"
#include "memory_monitor/numa_node_list.h"
#include "memory_monitor/record_file.h"
#include "platform/launcher_log.h"

namespace ProcMgr {

NumaNodeSet GetHasMemoryNumaNodes(const std::string& path)
{
    NumaNodeSet nodes;
    RecordFile file;
    if (!file.Open(path)) {
        LAUNCHER_LOG_ERROR("Cannot open node statistic file %s.", path.c_str());
        return nodes;
    }
    const std::string failure = ReadNodeListItems(file, nodes);
    if (!failure.empty()) {
        LAUNCHER_LOG_ERROR("Get has memory numa node, exception is throwed. (file=%s,detail=%s)", path.c_str(),
                           failure.c_str());
    }
    return nodes;
}

namespace {

// The nodes with memory less the CDM nodes; false when the CDM list cannot be opened.
bool GetNodesWithoutCdm(const std::string& sysfsDir, const std::string& cdmPath, NumaNodeSet& nodes)
{
    nodes = GetHasMemoryNumaNodes(sysfsDir + "/has_memory");
    RecordFile file;
    if (!file.Open(cdmPath)) {
        LAUNCHER_LOG_ERROR("Cannot open node statistic file %s.", cdmPath.c_str());
        return false;
    }
    NumaNodeSet cdmNodes;
    const std::string failure = ReadNodeListItems(file, cdmNodes);
    // The CDM ids read before a failure still leave the set.
    for (const int32_t id : cdmNodes) {
        nodes.erase(id);
    }
    if (!failure.empty()) {
        LAUNCHER_LOG_ERROR("Get is cdm numa node, exception is throwed. (file=%s,detail=%s)", cdmPath.c_str(),
                           failure.c_str());
    }
    return true;
}

}  // namespace

bool GetOsManagedNumaNodes(NumaNodeSet& nodes, std::string_view sysfsDir)
{
    const std::string dir(sysfsDir);
    const std::string cdmPath = dir + "/is_cdm_node";
    NumaNodeSet managed;
    if (access(cdmPath.c_str(), F_OK) == 0) {
        if (!GetNodesWithoutCdm(dir, cdmPath, managed)) {
            return false;
        }
    } else {
        managed = GetHasMemoryNumaNodes(dir + "/has_normal_memory");
    }
    for (const int32_t id : managed) {
        LAUNCHER_RUNLOG_INFO("numa node %d is managed by os.", id);
    }
    nodes.swap(managed);
    return true;
}

}  // namespace ProcMgr
