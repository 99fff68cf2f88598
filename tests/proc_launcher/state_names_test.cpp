// With the run log off the launcher writes no state message and never builds the state names;
// the first message written builds them. Counted through this thread's allocations, in an
// executable of its own so that no other test has written a state message before.
#include "tests/probes/allocation_counter.h"
#include "tests/proc_launcher/launcher_test_support.h"

namespace ProcMgr {
namespace {

TEST_F(LauncherTest, QuietRunLogWritesNoStateMessageAndBuildsNoStateNamesButHandlesTheSame)
{
    ProcLauncher launcher;
    const auto allocationsOfASwitchOff = [&launcher] {
        const uint64_t before = Probes::AllocationsOnThisThread();
        launcher.OnAppStateChange("camera", 1, SWITCH_OFF);
        return Probes::AllocationsOnThisThread() - before;
    };
    Fakes::SetLog({1, false});
    EXPECT_EQ(allocationsOfASwitchOff(), 0U);
    DeclareApp("camera", 0x1234, 0);
    EXPECT_TRUE(launcher.OnAppStateChange("camera", 42, HEART_BEAT_LOST));
    EXPECT_FALSE(launcher.OnAppStateChange("ghost", 1, SWITCH_ON));
    EXPECT_EQ(Fakes::TimelineWith("hal update").size(), DEVICES);
    EXPECT_EQ(Fakes::TimelineWith("grp Restart camera").size(), 1U);
    EXPECT_TRUE(Fakes::LogRecords().empty());

    Fakes::SetLog({});
    // The first written message builds the names (and the fake log copies the text), later ones
    // only pay for the copy.
    const uint64_t first = allocationsOfASwitchOff();
    EXPECT_GT(first, allocationsOfASwitchOff());
    EXPECT_TRUE(Fakes::LogContains("state=SWITCH_OFF)"));
}

}  // namespace
}  // namespace ProcMgr
