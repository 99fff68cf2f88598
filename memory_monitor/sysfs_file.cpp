#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <unistd.h>

#include "memory_monitor/memory_monitor.h"

namespace ProcMgr {
namespace {

// Sysfs hands a file over one page at a time at most.
constexpr size_t READ_CHUNK_BYTES = 4096;

// Appends what the descriptor holds to text, until its end or one byte past the bound, so that the
// buffer grows with what arrives; false when it is a directory, which reads as EISDIR. Throws when
// a read fails otherwise.
bool AppendBounded(int descriptor, std::string& text)
{
    char chunk[READ_CHUNK_BYTES];
    while (text.size() <= MAX_SYSFS_FILE_BYTES) {
        const ssize_t count = read(descriptor, chunk, std::min(sizeof chunk, MAX_SYSFS_FILE_BYTES + 1 - text.size()));
        if (count > 0) {
            text.append(chunk, static_cast<size_t>(count));
        } else if (count == 0) {
            break;
        } else if (errno == EISDIR) {
            return false;
        } else if (errno != EINTR) {
            throw std::system_error(errno, std::system_category());
        }
    }
    return true;
}

}  // namespace

std::optional<std::string> ReadSysfsFile(const std::string& path)
{
    const int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        return std::nullopt;
    }
    // Closed on every way out, a failed read or allocation included.
    const std::unique_ptr<const int, void (*)(const int*)> closer(&descriptor, [](const int* fd) { close(*fd); });
    std::string text;
    if (!AppendBounded(descriptor, text)) {
        return std::nullopt;
    }
    // One byte past the bound tells a file of exactly the bound from a longer one.
    if (text.size() > MAX_SYSFS_FILE_BYTES) {
        throw std::length_error("file larger than " + std::to_string(MAX_SYSFS_FILE_BYTES) + " bytes");
    }
    return text;
}

}  // namespace ProcMgr
