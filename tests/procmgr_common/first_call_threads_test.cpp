#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "procmgr_common/procmgr_common.h"

namespace {

constexpr int THREADS = 16;

struct Expected {
    std::string (*lookup)(unsigned long);
    unsigned long key;
    const char* name;
};

// Runs in a process of its own, so these are the first calls of the lazily built tables.
TEST(FirstCallTablesTest, ManyThreadsBuildEachTableOnceAndAllSeeIt)
{
    const std::vector<Expected> expected = {
        {ProcMgr::GetOptionType, 2, "RESTART"},        {ProcMgr::GetOptionType, 3, ""},
        {ProcMgr::GetGroupOwner, 0, "DATAMASTER"},     {ProcMgr::GetGroupOwner, 2, "APPMGR"},
        {ProcMgr::GetAppState, 6, "START_FAILED_BY_EIO"}, {ProcMgr::GetAppState, 7, ""},
        {ProcMgr::GetSysState, 0, "OFF"},              {ProcMgr::GetSysState, 4, "CALIBRATION"},
        {ProcMgr::GetSysState, 5, ""},
    };
    std::atomic<int> waiting{THREADS};
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < THREADS; ++t) {
        threads.emplace_back([&, t] {
            // Start barrier: nobody looks up before everybody is ready.
            waiting.fetch_sub(1);
            while (waiting.load() > 0) {
                std::this_thread::yield();
            }
            // Each thread starts with a different table, so first calls collide on all four.
            for (size_t i = 0; i < expected.size(); ++i) {
                const Expected& row = expected[(i + static_cast<size_t>(t) * 2) % expected.size()];
                if (row.lookup(row.key) != row.name) {
                    mismatches.fetch_add(1);
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(mismatches.load(), 0);
}

}  // namespace
