#include <atomic>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "procmgr_common/procmgr_common.h"

namespace {

// Runs in a process of its own, so these are the first calls of the lazily built tables.
TEST(FirstCallTablesTest, ManyThreadsBuildEachTableOnceAndAllSeeIt)
{
    const struct {
        std::string (*lookup)(unsigned long);
        unsigned long key;
        const char* name;
    } lookups[] = {
        {ProcMgr::GetOptionType, 2, "RESTART"},           {ProcMgr::GetGroupOwner, 0, "DATAMASTER"},
        {ProcMgr::GetAppState, 6, "START_FAILED_BY_EIO"}, {ProcMgr::GetAppState, 7, ""},
        {ProcMgr::GetSysState, 4, "CALIBRATION"},         {ProcMgr::GetSysState, 5, ""},
    };
    constexpr size_t THREADS = 16;
    std::atomic<size_t> waiting{THREADS};
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (size_t t = 0; t < THREADS; ++t) {
        threads.emplace_back([&, t] {
            waiting.fetch_sub(1);
            while (waiting.load() > 0) {
                std::this_thread::yield();
            }
            // Each thread starts at another table, so first calls collide on all four.
            for (size_t i = 0; i < std::size(lookups); ++i) {
                const auto& lookup = lookups[(i + t) % std::size(lookups)];
                mismatches += lookup.lookup(lookup.key) == lookup.name ? 0 : 1;
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(mismatches.load(), 0);
}

}  // namespace
