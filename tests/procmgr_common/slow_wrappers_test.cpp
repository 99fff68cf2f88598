#include <gtest/gtest.h>

#include <chrono>

#include "procmgr_common/procmgr_common.h"
#include "tests/fakes/fakes.h"

namespace {

using std::chrono::milliseconds;

template <typename Body>
milliseconds Timed(Body body)
{
    const auto start = std::chrono::steady_clock::now();
    body();
    return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start);
}

// The waits are real here: 401 of 5 ms for a send, 10 of 100 ms for a close. The upper bounds only
// catch a wait off by an order of magnitude.
TEST(SlowEzcomWrappersTest, AlwaysBusySendWaitsTheFullBudget)
{
    Fakes::ResetAll();
    Fakes::SetEzcomAnswer([](const Fakes::EzcomCall&) { return -11; });
    int result = 0;

    const milliseconds elapsed = Timed([&] { result = ProcMgr::ProcMgrEzcomSendRequest(3, nullptr); });

    EXPECT_EQ(result, -11);
    EXPECT_EQ(Fakes::EzcomCalls().size(), 401U);
    EXPECT_GE(elapsed, milliseconds(2005));
    EXPECT_LT(elapsed, milliseconds(8000));
}

TEST(SlowEzcomWrappersTest, AlwaysBusyCloseWaitsTheFullBudget)
{
    Fakes::ResetAll();
    Fakes::SetEzcomAnswer([](const Fakes::EzcomCall&) { return -16; });

    const milliseconds elapsed = Timed([] { ProcMgr::ProcMgrEzcomClosePipe(3); });

    EXPECT_EQ(Fakes::EzcomCalls().size(), 10U);
    EXPECT_GE(elapsed, milliseconds(1000));
    EXPECT_LT(elapsed, milliseconds(4000));
}

}  // namespace
