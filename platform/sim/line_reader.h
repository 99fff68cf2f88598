// Reads lines from a file or FIFO while watching a stop descriptor, without busy waiting.
#ifndef PLATFORM_SIM_LINE_READER_H
#define PLATFORM_SIM_LINE_READER_H

#include <optional>
#include <string>

namespace ProcMgr::Sim {

// Longer lines are skipped whole, so that a writer that never sends '\n' cannot exhaust memory.
constexpr size_t MAX_LINE_BYTES = 4096;

enum class ReadStatus {
    LINE,      // the next line, without its '\n'
    TOO_LONG,  // a line over MAX_LINE_BYTES, dropped
    END,       // end of file (a FIFO held open for writing never ends)
    STOPPED,   // the stop descriptor became readable
    FAILED,    // read or poll failed; errno tells why
};

class LineReader {
public:
    // Neither descriptor is owned; both must outlive the reader.
    LineReader(int sourceFd, int stopEventFd) : fd(sourceFd), stopFd(stopEventFd) {}

    ReadStatus Next(std::string& line);

private:
    ReadStatus TakeLine(size_t length, std::string& line);
    // nullopt when more bytes are pending.
    std::optional<ReadStatus> Fill();

    int fd;
    int stopFd;
    std::string pending;
    bool overlong = false;
};

}  // namespace ProcMgr::Sim

#endif
