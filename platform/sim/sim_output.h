// Where the stand-ins write: whole lines to a descriptor, and an owner for descriptors.
#ifndef PLATFORM_SIM_SIM_OUTPUT_H
#define PLATFORM_SIM_SIM_OUTPUT_H

#include <string>
#include <string_view>
#include <utility>

namespace ProcMgr::Sim {

class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int descriptor) : fd(descriptor) {}
    ~UniqueFd();
    UniqueFd(UniqueFd&& other) noexcept;
    UniqueFd& operator=(UniqueFd&& other) noexcept;
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;

    int Get() const { return fd; }
    bool Valid() const { return fd >= 0; }

private:
    int fd = -1;
};

// Writes each line with one write(2) of prefix, line and '\n', so that lines from threads and
// processes never interleave. Does not own the descriptor and leaves errno as it found it.
class LineSink {
public:
    LineSink(int descriptor, std::string linePrefix) : fd(descriptor), prefix(std::move(linePrefix)) {}
    void Write(std::string_view line) const;

private:
    int fd;
    std::string prefix;
};

// stderr with the "sim: " prefix: notes of the stand-ins, and the journal when it has no file.
const LineSink& StderrNotes();
// stderr without a prefix: the readable log records.
const LineSink& StderrPlain();

}  // namespace ProcMgr::Sim

#endif
