#include "memory_monitor/record_file.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace ProcMgr {
namespace {
const std::string RECORD_TOO_LONG = "record longer than " + std::to_string(MAX_RECORD_BYTES) + " bytes";
}  // namespace

RecordFile::~RecordFile()
{
    if (descriptor >= 0) {
        close(descriptor);
    }
}

bool RecordFile::Open(const std::string& path)
{
    descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) {
        return false;
    }
    struct stat status {};
    if (fstat(descriptor, &status) != 0 || S_ISDIR(status.st_mode)) {
        close(descriptor);
        descriptor = -1;
        return false;
    }
    return true;
}

bool RecordFile::Refill()
{
    if (atEnd || !failure.empty()) {
        return false;
    }
    ssize_t count = 0;
    do {
        count = read(descriptor, chunk, sizeof(chunk));
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
        failure = std::system_category().message(errno);
        return false;
    }
    chunkBegin = 0;
    chunkEnd = static_cast<size_t>(count);
    atEnd = count == 0;
    return !atEnd;
}

bool RecordFile::Next(char delimiter, std::string_view& record)
{
    buffer.clear();
    bool consumed = false;
    try {
        while (chunkBegin < chunkEnd || Refill()) {
            const char* begin = chunk + chunkBegin;
            const size_t available = chunkEnd - chunkBegin;
            const auto* found = static_cast<const char*>(std::memchr(begin, delimiter, available));
            const size_t length = found == nullptr ? available : static_cast<size_t>(found - begin);
            if (buffer.size() + length > MAX_RECORD_BYTES) {
                failure = RECORD_TOO_LONG;
                return false;
            }
            buffer.append(begin, length);
            consumed = true;
            chunkBegin += length;
            if (found != nullptr) {
                ++chunkBegin;
                record = buffer;
                return true;
            }
        }
    } catch (const std::bad_alloc& error) {
        failure = error.what();
        return false;
    }
    record = buffer;
    return consumed && failure.empty();
}

}  // namespace ProcMgr
