#include "platform/sim/line_reader.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <unistd.h>

namespace ProcMgr::Sim {

ReadStatus LineReader::Next(std::string& line)
{
    for (;;) {
        const size_t newline = pending.find('\n');
        if (newline != std::string::npos) {
            return TakeLine(newline, line);
        }
        if (pending.size() > MAX_LINE_BYTES) {
            pending.clear();
            overlong = true;
        }
        const std::optional<ReadStatus> status = Fill();
        if (!status) {
            continue;
        }
        if (*status == ReadStatus::END && (overlong || !pending.empty())) {
            return TakeLine(pending.size(), line);  // a last line without '\n'
        }
        return *status;
    }
}

ReadStatus LineReader::TakeLine(size_t length, std::string& line)
{
    const bool tooLong = overlong || length > MAX_LINE_BYTES;
    line.assign(pending, 0, tooLong ? 0 : length);
    pending.erase(0, std::min(length + 1, pending.size()));
    overlong = false;
    return tooLong ? ReadStatus::TOO_LONG : ReadStatus::LINE;
}

std::optional<ReadStatus> LineReader::Fill()
{
    pollfd watched[2] = {{stopFd, POLLIN, 0}, {fd, POLLIN, 0}};
    for (;;) {
        if (poll(watched, 2, -1) < 0) {
            if (errno == EINTR) {
                continue;
            }
            return ReadStatus::FAILED;
        }
        if (watched[0].revents != 0) {
            return ReadStatus::STOPPED;
        }
        char chunk[MAX_LINE_BYTES];
        const ssize_t count = read(fd, chunk, sizeof chunk);
        if (count > 0) {
            pending.append(chunk, static_cast<size_t>(count));
            return std::nullopt;
        }
        if (count == 0) {
            return ReadStatus::END;
        }
        if (errno != EINTR && errno != EAGAIN) {
            return ReadStatus::FAILED;
        }
    }
}

}  // namespace ProcMgr::Sim
