#include <unistd.h>

#include "memory_monitor/memory_monitor.h"
#include "platform/launcher_log.h"

namespace ProcMgr {
namespace {

// Adds the ids of the node-list file to ids; false when it cannot be opened. A failed read throws,
// and the ids added before stay.
bool ReadNodeListFile(const std::string& path, NumaNodeSet& ids)
{
    const std::optional<std::string> text = ReadSysfsFile(path);
    if (text && !ParseNodeList(*text, ids)) {
        LAUNCHER_LOG_ERROR("Get numa node list, more than %zu items or nodes, rest dropped. (file=%s)", MAX_NUMA_NODES,
                           path.c_str());
    }
    return text.has_value();
}

// The nodes with memory less the CDM nodes; false when the CDM list cannot be opened.
bool GetNodesWithoutCdm(const std::string& sysfsDir, const std::string& cdmPath, NumaNodeSet& nodes)
{
    nodes = GetHasMemoryNumaNodes(sysfsDir + "/has_memory");
    NumaNodeSet cdmNodes;
    bool opened = true;
    try {
        opened = ReadNodeListFile(cdmPath, cdmNodes);
    } catch (const std::exception& error) {
        LAUNCHER_LOG_ERROR("Get is cdm numa node, exception is throwed. (file=%s,detail=%s)", cdmPath.c_str(),
                           error.what());
    }
    if (!opened) {
        LAUNCHER_LOG_ERROR("Cannot open node statistic file %s.", cdmPath.c_str());
        return false;
    }
    for (const int32_t id : cdmNodes) {
        nodes.erase(id);
    }
    return true;
}

}  // namespace

NumaNodeSet GetHasMemoryNumaNodes(const std::string& path)
{
    NumaNodeSet nodes;
    try {
        if (!ReadNodeListFile(path, nodes)) {
            LAUNCHER_LOG_ERROR("Cannot open node statistic file %s.", path.c_str());
        }
    } catch (const std::exception& error) {
        LAUNCHER_LOG_ERROR("Get has memory numa node, exception is throwed. (file=%s,detail=%s)", path.c_str(),
                           error.what());
    }
    return nodes;
}

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
