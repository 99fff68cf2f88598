// What the fuzz targets share: a scratch directory for the readers' files, removed at exit, and an
// in-memory split of the input that the readers' results are checked against.
#ifndef FUZZ_FUZZ_SUPPORT_H
#define FUZZ_FUZZ_SUPPORT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "memory_monitor/record_file.h"

namespace FuzzSupport {

// The directory, created on first use; aborts when it cannot be made.
const std::string& ScratchDir();

// Replaces the file at ScratchDir()/relativePath with the bytes, creating its parent; returns its path.
std::string WriteScratchFile(const std::string& relativePath, const uint8_t* data, size_t size);

// Aborts with the message, so that libFuzzer records the input as a crash.
[[noreturn]] void Fail(const char* message);

// Calls onRecord for each record of text as a file reader cuts it (std::getline's rules). Returns
// false when it stops at a record longer than the readers accept.
template <typename OnRecord>
bool ForEachRecord(std::string_view text, char delimiter, OnRecord onRecord)
{
    for (size_t begin = 0; begin < text.size();) {
        const size_t found = text.find(delimiter, begin);
        const size_t end = found == std::string_view::npos ? text.size() : found;
        if (end - begin > ProcMgr::MAX_RECORD_BYTES) {
            return false;
        }
        onRecord(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return true;
}

}  // namespace FuzzSupport

#endif
