// The state names are built on the first message actually written, not before: a launcher whose
// run log is off never pays for them. Counted through the allocations of this thread, in an
// executable of its own so that no other test has written a state message before.
#include <cstdlib>
#include <new>

#include "tests/proc_launcher/launcher_test_support.h"

namespace {
thread_local bool countAllocations = false;
thread_local size_t allocations = 0;
}  // namespace

void* operator new(size_t size)
{
    if (countAllocations) {
        ++allocations;
    }
    if (void* memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}

// The replacements pair operator new with malloc and operator delete with free.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, size_t /*size*/) noexcept
{
    std::free(memory);
}

namespace ProcMgr {
namespace {

size_t AllocationsOf(const std::function<void()>& work)
{
    allocations = 0;
    countAllocations = true;
    work();
    countAllocations = false;
    return allocations;
}

TEST_F(LauncherTest, StateNamesAreBuiltOnlyForAWrittenMessage)
{
    ProcLauncher launcher;
    Fakes::LogSetup quiet;
    quiet.runLog = false;
    Fakes::SetLog(quiet);
    EXPECT_EQ(AllocationsOf([&] { launcher.OnAppStateChange("camera", 1, SWITCH_OFF); }), 0U);
    EXPECT_TRUE(Fakes::LogRecords().empty());

    Fakes::SetLog(Fakes::LogSetup{});
    // The first written message builds the names (and the fake log copies the text) ...
    const size_t first = AllocationsOf([&] { launcher.OnAppStateChange("camera", 1, SWITCH_OFF); });
    // ... later ones only pay for the fake log's copy.
    const size_t later = AllocationsOf([&] { launcher.OnAppStateChange("camera", 1, SWITCH_OFF); });
    EXPECT_GT(first, later);
    EXPECT_TRUE(Fakes::LogContains("state=SWITCH_OFF)"));
}

}  // namespace
}  // namespace ProcMgr
