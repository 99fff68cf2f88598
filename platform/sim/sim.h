// What the stand-in libraries share through the logging stand-in, libslog.so: one state under one
// lock, the journal, notes on stderr and the group-owner script.
#ifndef PLATFORM_SIM_SIM_H
#define PLATFORM_SIM_SIM_H

#include <array>
#include <cstdarg>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/group_owner.h"
#include "platform/sim/control.h"

namespace ProcMgr::Sim {

constexpr size_t EZCOM_FUNCTIONS = 5;

struct Platform {
    Settings settings;
    int journalFd = -1;
    std::vector<std::string> journal;
    uint64_t nextHandle = 1;
    uint64_t overlappingHalCalls = 0;
    std::array<int64_t, EZCOM_FUNCTIONS> ezcomCalls{};
    AppStateCallback callback;
    bool scriptStarted = false;
};

SIM_EXPORT std::mutex& PlatformMutex();
SIM_EXPORT Platform& PlatformState();

// Runs work on the shared state under its lock. work must not call back into a stand-in.
template <typename Work>
auto Locked(Work&& work)
{
    const std::lock_guard<std::mutex> lock(PlatformMutex());
    return work(PlatformState());
}

// Writes line and a line break with one write(2), leaving errno as it was.
SIM_EXPORT void WriteLine(int fd, std::string line);
// One journal line, written whole with one write(2) so that threads and processes never mix lines.
SIM_EXPORT void Journal(const char* format, ...) __attribute__((format(printf, 1, 2)));
// A note of the stand-ins on stderr, after "sim: ".
SIM_EXPORT void Note(const char* format, ...) __attribute__((format(printf, 1, 2)));
// Control bytes as C escapes and "\" as "\\", so that any text stays on one journal line.
SIM_EXPORT std::string Escaped(std::string_view text);
SIM_EXPORT std::string FormatV(const char* format, va_list args) __attribute__((format(printf, 1, 0)));
// A whole C-style integer (decimal, 0x hex or 0 octal, optional sign) within [min, max].
SIM_EXPORT std::optional<int64_t> ParseInteger(const std::string& text, int64_t min, int64_t max);

// The script of PLATFORM_SIM_GRP_SCRIPT: played on a thread of its own from the first call on,
// until StopScript, which has the changes held for the stop delivered and returns once no delivery
// runs any more.
SIM_EXPORT void StartScript();
SIM_EXPORT void StopScript();

}  // namespace ProcMgr::Sim

#endif
