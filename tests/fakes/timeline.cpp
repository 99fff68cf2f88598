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
    ResetSyslogLocked();
    ResetEzcomLocked();
}

}  // namespace Fakes
