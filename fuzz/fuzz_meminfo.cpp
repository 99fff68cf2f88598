// A node's meminfo text: any bytes give a value, no value or the conversion's failure.
#include <cstdint>
#include <stdexcept>
#include <string>

#include "fuzz/fuzz_support.h"
#include "memory_monitor/memory_monitor.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    try {
        (void)ProcMgr::ParseMemFree({reinterpret_cast<const char*>(data), size});
    } catch (const std::logic_error&) {
    }
    return 0;
}
