#include <chrono>
#include <functional>
#include <gtest/gtest.h>

#include "procmgr_common/procmgr_common.h"
#include "tests/fakes/fakes.h"

namespace {

using std::chrono::milliseconds;

// The waits are real here: 401 of 5 ms for a send, 10 of 100 ms for a close. The upper bounds only
// catch a wait off by an order of magnitude.
TEST(SlowEzcomWrappersTest, AlwaysBusyWrapperWaitsItsFullBudget)
{
    const struct {
        const char* wrapper;
        std::function<void()> invoke;
        int busyCode;
        size_t calls;
        milliseconds least;
        milliseconds most;
    } rows[] = {
        {"send", [] { EXPECT_EQ(ProcMgr::ProcMgrEzcomSendRequest(3, nullptr), -11); }, -11, 401, milliseconds(2005),
         milliseconds(8000)},
        {"close", [] { ProcMgr::ProcMgrEzcomClosePipe(3); }, -16, 10, milliseconds(1000), milliseconds(4000)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.wrapper);
        Fakes::ResetAll();
        Fakes::SetEzcomAnswer([&row](const Fakes::EzcomCall&) { return row.busyCode; });
        const auto start = std::chrono::steady_clock::now();
        row.invoke();
        const auto elapsed = std::chrono::steady_clock::now() - start;
        EXPECT_EQ(Fakes::EzcomCalls().size(), row.calls);
        EXPECT_GE(elapsed, row.least);
        EXPECT_LT(elapsed, row.most);
    }
    Fakes::ResetAll();
}

}  // namespace
