#include <algorithm>
#include <chrono>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

#include "memory_monitor/memory_monitor.h"
#include "tests/memory_monitor/memory_test_support.h"
#include "tests/probes/allocation_counter.h"

namespace {

using Logs = std::vector<std::string>;

const ProcMgr::MemoryShortageDetector::Clock::time_point START{std::chrono::hours(1000)};
auto fakeNow = START;
constexpr int64_t PERIOD_NS = 60'000'000'000;
constexpr uint64_t PLENTY_KB = 4'000'000;
constexpr uint64_t SUM_LIMIT_KB = 107374182400;

class DetectorTest : public testing::Test {
protected:
    void SetUp() override
    {
        Fakes::ResetAll();
        ASSERT_TRUE(reporter.RegisterSensorNode({ProcMgr::OS_MEMORY_NODE_NAME, 0x0617, 0xD0, 0}));
        CheckAtNs(0);
    }
    void CheckAtNs(int64_t sinceStartNs)
    {
        fakeNow = START + std::chrono::nanoseconds(sinceStartNs);
        detector.Check(reporter);
    }
    // The log lines of the check made at the start of the period.
    Logs CheckInPeriod(int period)
    {
        const size_t before = Fakes::LogRecords().size();
        CheckAtNs(period * PERIOD_NS);
        const Logs logs = MemoryTest::Logs(tree.Dir());
        return {logs.begin() + static_cast<std::ptrdiff_t>(before), logs.end()};
    }
    void SetFree(const std::vector<uint64_t>& freeKbByNode) const
    {
        for (size_t node = 0; node < freeKbByNode.size(); ++node) {
            tree.Place("node" + std::to_string(node) + "/meminfo",
                       "MemFree: " + std::to_string(freeKbByNode[node]) + " kB\n");
        }
    }
    // The events the HAL was sent since the last call.
    std::vector<int32_t> NewHalEvents()
    {
        const std::vector<Fakes::HalCall> calls = Fakes::HalCalls("update");
        std::vector<int32_t> events;
        for (; halEventsSeen < calls.size(); ++halEventsSeen) {
            events.push_back(calls[halEventsSeen].event);
        }
        return events;
    }

    size_t halEventsSeen = 0;
    MemoryTest::SysfsTree tree;
    ProcMgr::DeviceCount deviceCount;
    ProcMgr::SensorNodeEventReporter reporter{deviceCount};
    ProcMgr::MemoryShortageDetector detector{tree.Dir(), [] { return fakeNow; }};
};

TEST_F(DetectorTest, ChecksOncePerPeriodFromTheLastCheckAndIdlesWithoutAllocating)
{
    tree.Place("has_normal_memory", "0\n");
    SetFree({PLENTY_KB});
    // Each tick's time since the start, and whether it makes a check.
    const std::pair<int64_t, bool> ticks[] = {
        {59'999'999'999, false}, {60'000'000'000, true},   {119'999'999'999, false}, {120'000'000'000, true},
        {180'200'000'000, true}, {240'100'000'000, false}, {240'200'000'000, true}};
    for (const auto& [sinceStartNs, checks] : ticks) {
        SCOPED_TRACE(sinceStartNs);
        const uint64_t allocationsBefore = ProcMgr::Probes::AllocationsOnThisThread();
        CheckAtNs(sinceStartNs);
        EXPECT_EQ(ProcMgr::Probes::AllocationsOnThisThread() != allocationsBefore, checks)
            << "a check reads files, an idle tick allocates nothing";
    }
    EXPECT_TRUE(NewHalEvents().empty()) << "plenty of memory from the start sends nothing";
}

TEST_F(DetectorTest, HalSeesTheVerdictsOfTheSumWithHysteresis)
{
    struct Step {
        const char* name;
        std::vector<uint64_t> freeKbByNode;
        std::vector<int32_t> halEvents;  // sent by this check
        uint64_t bandKb;                 // the sum in the band message, 0 when the message is not looked for
    };
    const Step steps[] = {{"16384 is in the band", {16384, 0}, {}, 16384},
                          {"16383 summed raises the fault", {8000, 8383}, {1}, 0},
                          {"16384 keeps the shortage standing", {0, 16384}, {}, 16384},
                          {"32768 keeps the shortage standing", {16384, 16384}, {}, 32768},
                          {"32769 summed clears the fault", {16385, 16384}, {0}, 0},
                          {"a repeated clear sends nothing", {32769, 0}, {}, 0},
                          {"a new shortage raises it again", {100, 0}, {1}, 0},
                          {"a node at the sum limit abandons the check", {SUM_LIMIT_KB, 0}, {}, 0},
                          {"a running sum reaching the limit abandons", {SUM_LIMIT_KB - 1, 1}, {}, 0},
                          {"a sum just below the limit is a verdict", {SUM_LIMIT_KB - 2, 1}, {0}, 0}};
    tree.Place("has_normal_memory", "0-1\n");
    int period = 1;
    for (const Step& step : steps) {
        SCOPED_TRACE(step.name);
        SetFree(step.freeKbByNode);
        const Logs logs = CheckInPeriod(period++);
        EXPECT_EQ(NewHalEvents(), step.halEvents);
        const std::string band =
            "I|Not need reporting system memory shortage. (freeSize=" + std::to_string(step.bandKb) + "KB)";
        EXPECT_EQ(std::count(logs.begin(), logs.end(), band), step.bandKb != 0 ? 1 : 0);
    }
}

TEST_F(DetectorTest, FailingNodeDropsTheCheckAndTheNodeSetIsKept)
{
    tree.Place("has_normal_memory", "0-2\n");
    SetFree({10, 10, 10});
    CheckInPeriod(1);
    tree.Place("has_normal_memory", "0\n");
    tree.Remove("node1");
    SetFree({PLENTY_KB});
    for (const int period : {2, 3}) {
        EXPECT_EQ(CheckInPeriod(period), (Logs{"I|Get numa node free memory Success. (node=0,freeSize=4000000KB)",
                                               "E|Cannot open node statistic file {dir}/node1/meminfo."}))
            << "node 2 is not read once node 1 failed, and the nodes are not looked up again";
    }
    EXPECT_EQ(NewHalEvents(), std::vector<int32_t>{1}) << "the shortage stands while a node fails";
    SetFree({PLENTY_KB, PLENTY_KB, PLENTY_KB});
    CheckInPeriod(4);
    EXPECT_EQ(NewHalEvents(), std::vector<int32_t>{0});
}

TEST_F(DetectorTest, DiscoveryThatFindsNoNodeReportsShortageAndRetries)
{
    for (const int period : {1, 2}) {
        EXPECT_EQ(CheckInPeriod(period), Logs{"E|Cannot open node statistic file {dir}/has_normal_memory."});
    }
    EXPECT_EQ(NewHalEvents(), std::vector<int32_t>{1});
    tree.Place("has_normal_memory", "0\n");
    SetFree({PLENTY_KB});
    CheckInPeriod(3);
    EXPECT_EQ(NewHalEvents(), std::vector<int32_t>{0});
}

TEST_F(DetectorTest, FailedDiscoveryDisablesForGood)
{
    tree.Place("is_cdm_node", MemoryTest::DIRECTORY);
    EXPECT_EQ(CheckInPeriod(1), (Logs{"E|Cannot open node statistic file {dir}/has_memory.",
                                      "E|Cannot open node statistic file {dir}/is_cdm_node."}));
    tree.Remove("is_cdm_node");
    for (const int period : {2, 3, 4}) {
        EXPECT_EQ(CheckInPeriod(period), Logs{}) << "no file is read once disabled";
    }
    EXPECT_TRUE(NewHalEvents().empty());
}

}  // namespace
