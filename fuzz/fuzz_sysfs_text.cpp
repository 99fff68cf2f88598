// Any bytes as the text of a sysfs file, read as a node list and as a node's meminfo: nothing may
// crash or leak, and a node set never holds more than the kernel's number of nodes.
#include <cstdint>
#include <stdexcept>
#include <string>

#include "memory_monitor/memory_monitor.h"
#include "platform/sim/control.h"

// Every log record is formatted, so that the sanitizers see each argument read, and none is kept.
extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    ProcMgr::Sim::Settings settings;
    settings.journal = ProcMgr::Sim::JournalTo::NOWHERE;
    settings.logLevel = 0;
    ProcMgr::Sim::Apply(settings);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    ProcMgr::NumaNodeSet ids;
    (void)ProcMgr::ParseNodeList(text, ids);
    if (ids.size() > ProcMgr::MAX_NUMA_NODES) {
        __builtin_trap();  // the bound failed: libFuzzer keeps the input as a crash
    }
    try {
        (void)ProcMgr::ParseMemFree(text);
    } catch (const std::logic_error&) {
        // a number that does not convert: the read's failure, not the parser's
    }
    return 0;
}
