#include <cstdio>
#include <mutex>

#include "tests/fakes/fakes.h"
#include "tests/fakes/state.h"

namespace Fakes {

std::mutex& FakeMutex()
{
    static std::mutex mutex;
    return mutex;
}

namespace {
std::vector<std::string>& TimelineLines()
{
    static std::vector<std::string> lines;
    return lines;
}
}  // namespace

std::string FormatText(const char* fmt, va_list args)
{
    va_list sizing;
    va_copy(sizing, args);
    const int length = vsnprintf(nullptr, 0, fmt, sizing);
    va_end(sizing);
    std::string text(static_cast<size_t>(length > 0 ? length : 0), '\0');
    vsnprintf(text.data(), text.size() + 1, fmt, args);
    return text;
}

void RecordTimelineLocked(const std::string& line)
{
    TimelineLines().push_back(line);
}

void RecordTimeline(const std::string& line)
{
    std::lock_guard<std::mutex> lock(FakeMutex());
    RecordTimelineLocked(line);
}

std::vector<std::string> Timeline()
{
    std::lock_guard<std::mutex> lock(FakeMutex());
    return TimelineLines();
}

std::vector<std::string> TimelineWith(const std::string& prefix)
{
    std::vector<std::string> matching;
    for (const auto& line : Timeline()) {
        if (line.compare(0, prefix.size(), prefix) == 0) {
            matching.push_back(line);
        }
    }
    return matching;
}

void ResetAll()
{
    std::lock_guard<std::mutex> lock(FakeMutex());
    TimelineLines().clear();
    ResetHalLocked();
    ResetLogLocked();
    ResetEzcomLocked();
}

}  // namespace Fakes
