#include <cerrno>
#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "memory_monitor/memory_monitor.h"

namespace ProcMgr {
namespace {

// Fills text from the descriptor up to its size; the bytes read, or -errno.
ssize_t ReadUpTo(int descriptor, std::string& text)
{
    size_t size = 0;
    while (size < text.size()) {
        const ssize_t count = read(descriptor, &text[size], text.size() - size);
        if (count > 0) {
            size += static_cast<size_t>(count);
        } else if (count == 0) {
            break;
        } else if (errno != EINTR) {
            return -errno;
        }
    }
    return static_cast<ssize_t>(size);
}

}  // namespace

std::optional<std::string> ReadSysfsFile(const std::string& path)
{
    // One byte past the bound tells a file of exactly the bound from a longer one.
    std::string text(MAX_SYSFS_FILE_BYTES + 1, '\0');
    const int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        return std::nullopt;
    }
    struct stat status {};
    const bool isFile = fstat(descriptor, &status) == 0 && !S_ISDIR(status.st_mode);
    const ssize_t size = isFile ? ReadUpTo(descriptor, text) : 0;
    close(descriptor);
    if (!isFile) {
        return std::nullopt;
    }
    if (size < 0) {
        throw std::system_error(static_cast<int>(-size), std::system_category());
    }
    if (static_cast<size_t>(size) > MAX_SYSFS_FILE_BYTES) {
        throw std::length_error("file larger than " + std::to_string(MAX_SYSFS_FILE_BYTES) + " bytes");
    }
    text.resize(static_cast<size_t>(size));
    return text;
}

}  // namespace ProcMgr
