#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include "memory_monitor/memory_monitor.h"
#include "tests/fakes/fakes.h"
#include "tests/memory_monitor/memory_test_support.h"

namespace {
std::atomic<size_t> allocations{0};
}  // namespace

// Counts every allocation of the test program, so that a test can prove a path allocates nothing.
// GCC takes the free() of these replacements for a mismatch with the new that it cannot see is ours.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif
void* operator new(size_t size)
{
    ++allocations;
    if (void* memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept
{
    std::free(memory);
}
void operator delete(void* memory, size_t /*size*/) noexcept
{
    std::free(memory);
}

namespace {

using Clock = ProcMgr::MemoryShortageDetector::Clock;
using std::chrono::nanoseconds;
using MemoryTest::LogLine;

const Clock::time_point START{std::chrono::hours(1000)};
Clock::time_point fakeNow = START;

Clock::time_point FakeNow()
{
    return fakeNow;
}

constexpr int64_t PERIOD_NS = 60'000'000'000;
constexpr uint64_t PLENTY_KB = 4'000'000;
constexpr uint64_t SUM_LIMIT_KB = 107374182400;

class DetectorTest : public testing::Test {
protected:
    DetectorTest() : reporter(deviceCount), detector(tree.Dir(), &FakeNow) {}

    void SetUp() override
    {
        Fakes::ResetAll();
        Fakes::SetHal({2, 0, {}});
        ASSERT_TRUE(reporter.RegisterSensorNode({ProcMgr::OS_MEMORY_NODE_NAME, 0x0617, 0xD0, 0}));
        CheckAtNs(0);
    }

    void CheckAtNs(int64_t sinceStartNs)
    {
        fakeNow = START + nanoseconds(sinceStartNs);
        detector.Check(reporter);
    }
    void CheckInPeriod(int period) { CheckAtNs(period * PERIOD_NS); }

    void ListNodes(const std::string& list) const { tree.Write("has_normal_memory", list); }
    void SetFree(const std::vector<uint64_t>& freeKbByNode) const
    {
        for (size_t node = 0; node < freeKbByNode.size(); ++node) {
            tree.WriteMeminfo(static_cast<int32_t>(node), freeKbByNode[node]);
        }
    }

    // The events the HAL was sent on device 0; every test checks both devices agree.
    static std::vector<int32_t> HalEvents()
    {
        std::vector<int32_t> events;
        for (const auto& call : Fakes::HalCalls("update")) {
            EXPECT_EQ(call.fault, 1);
            if (call.dev == 0) {
                events.push_back(call.event);
            }
        }
        EXPECT_EQ(Fakes::HalCalls("update").size(), 2 * events.size()) << "each event goes to both devices";
        return events;
    }
    // Log lines written since the given count of lines.
    static std::vector<LogLine> LogsSince(size_t count)
    {
        const std::vector<LogLine> lines = MemoryTest::LoggedLines();
        return {lines.begin() + static_cast<std::ptrdiff_t>(std::min(count, lines.size())), lines.end()};
    }

    MemoryTest::SysfsTree tree;
    ProcMgr::DeviceCount deviceCount;
    ProcMgr::SensorNodeEventReporter reporter;
    ProcMgr::MemoryShortageDetector detector;
};

TEST_F(DetectorTest, ChecksOncePerPeriodFromTheStartOfTheLastCheck)
{
    ListNodes("0\n");
    SetFree({PLENTY_KB});
    struct Tick {
        int64_t sinceStartNs;
        bool checks;
    };
    const Tick ticks[] = {
        {59'999'000'000, false}, {60'000'000'000, true},  {119'999'000'000, false}, {120'000'000'000, true},
        {180'200'000'000, true}, {240'100'000'000, false}, {240'200'000'000, true},
    };
    for (const Tick& tick : ticks) {
        SCOPED_TRACE(tick.sinceStartNs);
        const int logChecksBefore = Fakes::CheckLogLevelCalls();
        const size_t linesBefore = MemoryTest::LoggedLines().size();
        CheckAtNs(tick.sinceStartNs);
        if (tick.checks) {
            EXPECT_EQ(LogsSince(linesBefore).back(), (LogLine{MemoryTest::MODULE, MemoryTest::INFO,
                                                              "Get numa node free memory Success. (node=0,freeSize=" +
                                                                  std::to_string(PLENTY_KB) + "KB)"}));
        } else {
            EXPECT_EQ(Fakes::CheckLogLevelCalls(), logChecksBefore) << "an idle tick reads no file";
        }
    }
    EXPECT_TRUE(HalEvents().empty()) << "plenty of memory from the start sends nothing";
}

TEST_F(DetectorTest, IdleTickAllocatesNothing)
{
    ListNodes("0\n");
    SetFree({PLENTY_KB});
    CheckInPeriod(1);
    const int logChecksBefore = Fakes::CheckLogLevelCalls();
    const size_t before = allocations;
    for (int64_t tick = 1; tick < 300; ++tick) {
        CheckAtNs(PERIOD_NS + tick * 200'000'000);
    }
    EXPECT_EQ(allocations - before, 0U);
    EXPECT_EQ(Fakes::CheckLogLevelCalls(), logChecksBefore) << "the ticks stayed idle";
}

struct VerdictRow {
    const char* guards;
    bool shortageBefore;
    std::vector<uint64_t> freeKbByNode;
    std::vector<int32_t> halEvents;  // sent by the checked period
    uint64_t bandKb;                 // the sum in the band message, 0 when none is expected
};

const VerdictRow VERDICT_ROWS[] = {
    {"16383 raises the fault", false, {16383}, {1}, 0},
    {"16384 is in the band", false, {16384}, {}, 16384},
    {"16384 keeps a shortage standing", true, {16384}, {}, 16384},
    {"32768 keeps a shortage standing", true, {32768}, {}, 32768},
    {"32769 clears the fault", true, {32769}, {0}, 0},
    {"32769 on a clear node sends nothing", false, {32769}, {}, 0},
    {"nodes are summed into the band", false, {10000, 10000}, {}, 20000},
    {"nodes are summed below the threshold", false, {8000, 8000}, {1}, 0},
    {"sum just below the limit is a verdict", true, {SUM_LIMIT_KB - 1}, {0}, 0},
    {"one node at the limit abandons the check", true, {SUM_LIMIT_KB}, {}, 0},
    {"running sum reaching the limit abandons", true, {SUM_LIMIT_KB - 1, 1}, {}, 0},
    {"running sum just under the limit", true, {SUM_LIMIT_KB - 2, 1}, {0}, 0},
};

class VerdictTest : public DetectorTest, public testing::WithParamInterface<VerdictRow> {};

TEST_P(VerdictTest, ReportsTheVerdictOfTheSum)
{
    const VerdictRow& row = GetParam();
    ListNodes("0-" + std::to_string(row.freeKbByNode.size() - 1) + "\n");
    int period = 1;
    if (row.shortageBefore) {
        SetFree(std::vector<uint64_t>(row.freeKbByNode.size(), 0));
        CheckInPeriod(period++);
        ASSERT_EQ(HalEvents(), std::vector<int32_t>{1});
    }
    const size_t eventsBefore = HalEvents().size();
    SetFree(row.freeKbByNode);
    CheckInPeriod(period);

    const std::vector<int32_t> events = HalEvents();
    EXPECT_EQ(std::vector<int32_t>(events.begin() + static_cast<std::ptrdiff_t>(eventsBefore), events.end()),
              row.halEvents);
    std::vector<LogLine> band;
    for (const LogLine& line : MemoryTest::LoggedLines()) {
        if (line.message.rfind("Not need reporting", 0) == 0) {
            band.push_back(line);
        }
    }
    std::vector<LogLine> expectedBand;
    if (row.bandKb != 0) {
        expectedBand.push_back({MemoryTest::MODULE, MemoryTest::INFO,
                                "Not need reporting system memory shortage. (freeSize=" + std::to_string(row.bandKb) +
                                    "KB)"});
    }
    EXPECT_EQ(band, expectedBand);
}

INSTANTIATE_TEST_SUITE_P(Rows, VerdictTest, testing::ValuesIn(VERDICT_ROWS), MemoryTest::RowNamer());

TEST_F(DetectorTest, HalSeesEachChangeOnceWithHysteresis)
{
    ListNodes("0\n");
    const uint64_t sums[] = {100, 100, 20000, 40000, 40000, 20000, 100};
    int period = 1;
    for (const uint64_t sumKb : sums) {
        SetFree({sumKb});
        CheckInPeriod(period++);
    }
    EXPECT_EQ(HalEvents(), (std::vector<int32_t>{1, 0, 1}));
}

TEST_F(DetectorTest, UnreadableNodeDropsTheCheckUntilItReadsAgain)
{
    ListNodes("0-2\n");
    SetFree({10, 10, 10});
    CheckInPeriod(1);
    tree.Remove("node1");
    SetFree({PLENTY_KB});
    for (const int period : {2, 3}) {
        const size_t linesBefore = MemoryTest::LoggedLines().size();
        CheckInPeriod(period);
        EXPECT_EQ(LogsSince(linesBefore),
                  MemoryTest::WithDir({{MemoryTest::MODULE, MemoryTest::INFO,
                                        "Get numa node free memory Success. (node=0,freeSize=4000000KB)"},
                                       MemoryTest::CannotOpen("node1/meminfo")},
                                      tree.Dir()))
            << "node 2 is not read once node 1 failed";
    }
    EXPECT_EQ(HalEvents(), std::vector<int32_t>{1}) << "the shortage stands while a node fails";
    SetFree({PLENTY_KB, PLENTY_KB, PLENTY_KB});
    CheckInPeriod(4);
    EXPECT_EQ(HalEvents(), (std::vector<int32_t>{1, 0}));
}

TEST_F(DetectorTest, DiscoveryThatFindsNoNodeReportsShortageAndRetries)
{
    for (const int period : {1, 2}) {
        const size_t linesBefore = MemoryTest::LoggedLines().size();
        CheckInPeriod(period);
        EXPECT_EQ(LogsSince(linesBefore), MemoryTest::WithDir({MemoryTest::CannotOpen("has_normal_memory")}, tree.Dir()));
    }
    EXPECT_EQ(HalEvents(), std::vector<int32_t>{1});
    ListNodes("0\n");
    SetFree({PLENTY_KB});
    CheckInPeriod(3);
    EXPECT_EQ(HalEvents(), (std::vector<int32_t>{1, 0}));
}

TEST_F(DetectorTest, FailedDiscoveryDisablesForGood)
{
    tree.MakeDirectory("is_cdm_node");
    CheckInPeriod(1);
    EXPECT_EQ(MemoryTest::LoggedLines(),
              MemoryTest::WithDir({MemoryTest::CannotOpen("has_memory"), MemoryTest::CannotOpen("is_cdm_node")},
                                  tree.Dir()));
    tree.Remove("is_cdm_node");
    tree.Write("is_cdm_node", "1\n");
    tree.Write("has_memory", "0\n");
    ListNodes("0\n");
    SetFree({10});
    const int logChecksBefore = Fakes::CheckLogLevelCalls();
    for (const int period : {2, 3, 4}) {
        CheckInPeriod(period);
    }
    EXPECT_EQ(Fakes::CheckLogLevelCalls(), logChecksBefore) << "no file is read once disabled";
    EXPECT_TRUE(HalEvents().empty());
}

TEST_F(DetectorTest, NodeSetFoundOnceIsKept)
{
    ListNodes("0\n");
    SetFree({PLENTY_KB});
    CheckInPeriod(1);
    ListNodes("0-1\n");
    SetFree({PLENTY_KB, 10});
    const size_t linesBefore = MemoryTest::LoggedLines().size();
    CheckInPeriod(2);
    EXPECT_EQ(LogsSince(linesBefore), (std::vector<LogLine>{{MemoryTest::MODULE, MemoryTest::INFO,
                                                             "Get numa node free memory Success. "
                                                             "(node=0,freeSize=4000000KB)"}}));
    EXPECT_TRUE(HalEvents().empty());
}

}  // namespace
