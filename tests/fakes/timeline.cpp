// The shared state, the timeline and the group-owner instance.
#include <atomic>
#include <cstdio>

#include "tests/fakes/fakes.h"
#include "tests/fakes/state.h"

namespace {
std::atomic<Fakes::MockGrpOwner*> currentGrpOwner{nullptr};
}

ProcMgr::ProcMgrGrpOwner* ProcMgr::ProcMgrGrpOwner::GetInstance()
{
    return currentGrpOwner.load();
}

namespace Fakes {

MockGrpOwner::MockGrpOwner()
{
    currentGrpOwner.store(this);
}

MockGrpOwner::~MockGrpOwner()
{
    currentGrpOwner.store(nullptr);
}

std::mutex& FakeMutex()
{
    static std::mutex mutex;
    return mutex;
}

FakeState& State()
{
    static FakeState state;
    return state;
}

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

void RecordTimeline(const std::string& line)
{
    std::lock_guard<std::mutex> lock(FakeMutex());
    State().timeline.push_back(line);
}

std::vector<std::string> Timeline()
{
    return Locked(State().timeline);
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
    State() = FakeState{};
}

}  // namespace Fakes
