#include "platform/sim/sim_output.h"

#include <cerrno>
#include <unistd.h>

namespace ProcMgr::Sim {

UniqueFd::~UniqueFd()
{
    if (fd >= 0) {
        close(fd);
    }
}

UniqueFd::UniqueFd(UniqueFd&& other) noexcept : fd(other.fd)
{
    other.fd = -1;
}

UniqueFd& UniqueFd::operator=(UniqueFd&& other) noexcept
{
    if (this != &other) {
        if (fd >= 0) {
            close(fd);
        }
        fd = other.fd;
        other.fd = -1;
    }
    return *this;
}

void LineSink::Write(std::string_view line) const
{
    const int savedErrno = errno;
    std::string whole;
    whole.reserve(prefix.size() + line.size() + 1);
    whole.append(prefix).append(line).push_back('\n');
    const char* data = whole.data();
    size_t left = whole.size();
    while (left > 0) {
        const ssize_t written = write(fd, data, left);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            break;  // nowhere left to report a failing stderr or journal
        }
        data += written;
        left -= static_cast<size_t>(written);
    }
    errno = savedErrno;
}

const LineSink& StderrNotes()
{
    static const LineSink sink(STDERR_FILENO, "sim: ");
    return sink;
}

const LineSink& StderrPlain()
{
    static const LineSink sink(STDERR_FILENO, "");
    return sink;
}

}  // namespace ProcMgr::Sim
