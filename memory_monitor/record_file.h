// Reads a small sysfs text file record by record (items cut at "," or lines cut at a line break)
// through one reused buffer, so that a read allocates nothing per record once the buffer has grown.
#ifndef MEMORY_MONITOR_RECORD_FILE_H
#define MEMORY_MONITOR_RECORD_FILE_H

#include <cstddef>
#include <string>
#include <string_view>

namespace ProcMgr {

// sysfs files hold at most one page; the bound keeps a hostile file from growing the buffer
// without end.
inline constexpr size_t MAX_RECORD_BYTES = 65536;

class RecordFile {
public:
    RecordFile() = default;
    ~RecordFile();
    RecordFile(const RecordFile&) = delete;
    RecordFile& operator=(const RecordFile&) = delete;

    // false when the path cannot be opened or names a directory. A FIFO opens without waiting for a
    // writer and reads as empty, so a stray one cannot stall the main loop.
    bool Open(const std::string& path);

    // The next record without its delimiter, valid until the next call. As std::getline does, a
    // delimiter that ends the file starts no further record, and an empty file has no record.
    // false at the end of the file and on a failure, which Failure() then describes.
    bool Next(char delimiter, std::string_view& record);

    // Empty while no read has failed.
    const std::string& Failure() const { return failure; }

private:
    bool Refill();

    int descriptor = -1;
    bool atEnd = false;
    std::string failure;
    std::string buffer;
    char chunk[4096] = {};
    size_t chunkBegin = 0;
    size_t chunkEnd = 0;
};

}  // namespace ProcMgr

#endif
