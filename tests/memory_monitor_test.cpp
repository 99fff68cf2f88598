// The memory monitor on fixture sysfs trees: node lists, meminfo files and their bounds, and the
// detector's period, thresholds, sum limit and states, seen through the stand-ins' journal.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <new>
#include <regex>
#include <set>
#include <stdexcept>
#include <string>
#include <sys/syscall.h>
#include <tuple>
#include <unistd.h>
#include <utility>
#include <vector>

#include "memory_monitor/memory_monitor.h"
#include "platform/sim/control.h"

// The n-th allocation of 1 KiB or more from now fails, as when memory runs out; -1 once it has.
static int failingLargeAllocation = -1;

void* operator new(size_t size)
{
    const bool fails = size >= 1024 && failingLargeAllocation >= 0 && failingLargeAllocation-- == 0;
    void* memory = fails ? nullptr : std::malloc(size + 1);
    return memory != nullptr ? memory : throw std::bad_alloc();
}

// Not inlined, so that the compiler never sees a free of what operator new returned.
__attribute__((noinline)) void operator delete(void* memory) noexcept
{
    std::free(memory);
}

__attribute__((noinline)) void operator delete(void* memory, size_t /*size*/) noexcept
{
    std::free(memory);
}

namespace ProcMgr {
namespace {

// Root opens any file: without these capabilities (access() tests with the permitted ones) a file's
// mode binds the test as it binds a user.
void ObeyFileModes()
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct capabilities[2]{};
    syscall(SYS_capget, &header, capabilities);
    capabilities[0].effective = capabilities[0].permitted &= ~(1U << CAP_DAC_OVERRIDE | 1U << CAP_DAC_READ_SEARCH);
    ASSERT_EQ(syscall(SYS_capset, &header, capabilities), 0);
}

// A fresh directory of fixture files and a fresh stand-in journal; removed with the test.
struct Tree {
    Tree() { Sim::Reset(); }
    ~Tree() { std::filesystem::remove_all(dir); }
    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;
    // A directory where the text is "<dir>", a file nobody may read where it is "<unreadable>".
    void Put(const std::string& name, const std::string& text) const
    {
        const std::filesystem::path file = dir + "/" + name;
        std::filesystem::create_directories(text == "<dir>" ? file : file.parent_path());
        if (text != "<dir>") {
            std::ofstream(file, std::ios::binary) << (text == "<unreadable>" ? "" : text);
        }
        if (text == "<unreadable>") {
            std::filesystem::permissions(file, std::filesystem::perms::none);
        }
    }
    // The journal's lines after "|", log records without "log " and "[proc_launcher.cpp:N]", this
    // directory written "{dir}".
    std::string Journal() const
    {
        std::string text;
        for (const std::string& line : Sim::JournalLines()) {
            text += "|" + std::regex_replace(line, std::regex(R"(^log (\d \w+) \[proc_launcher\.cpp:\d+\])"), "$1 ");
        }
        return std::regex_replace(text, std::regex(dir), "{dir}");
    }

    std::string dir = [] {
        char name[] = "/tmp/memory-sysfs-XXXXXX";
        return mkdtemp(name) != nullptr ? std::string(name) : throw std::runtime_error("no temporary directory");
    }();
};

std::string Times(const std::string& text, int times)
{
    return times == 0 ? "" : text + Times(text, times - 1);
}

std::string Got(const std::string& item, const std::string& failure = "")
{
    const std::string thrown = "|1 0x1000036 Get numa node list, exception is throwed. (str=" + item + ",detail=";
    return "|1 0x36 Get numa node " + item + "." + (failure.empty() ? "" : thrown + failure + ")");
}

std::string Managed(int32_t first, int32_t last)
{
    return first > last
               ? ""
               : "|1 0x1000036 numa node " + std::to_string(first) + " is managed by os." + Managed(first + 1, last);
}

TEST(Readers, GiveTheirResultAndLogAsTheKernelTextAndTheBoundsSay)
{
    ObeyFileModes();
    const std::string overlong(MAX_SYSFS_FILE_BYTES + 1, '1');
    const std::string bound = "MemFree: 8 kB\n" + std::string(MAX_SYSFS_FILE_BYTES - 14, ' ');
    const std::string large = "detail=file larger than 65536 bytes)";
    const std::string cannotOpen = "|3 0x36 Cannot open node statistic file {dir}/";
    const std::string dropped =
        "|3 0x36 Get numa node list, more than 1024 items or nodes, rest dropped. (file={dir}/has_normal_memory)";
    const std::string read = "|3 0x36 Get numa node free memory, ";
    const std::string thrown = read + "exception is throwed. (file={dir}/node0/meminfo,";
    const std::string notFound = read + "not find free size item. (file={dir}/node0/meminfo)";
    const std::string success = "|1 0x36 Get numa node free memory Success. (node=0,freeSize=";
    // clang-format off
    const std::pair<std::vector<std::pair<std::string, std::string>>, std::string> lists[] = {
        {{{"has_normal_memory", "-1,5-3,,1-2-3,7-7,3-"}}, Got("-1") + Got("5-3") + Got("1-2-3") + Got("7-7") + Got("3-") + Managed(1, 2) + Managed(7, 7)},
        {{{"has_normal_memory", "3-\n"}}, Got("3-\\n", "stoi")},
        {{{"has_normal_memory", "0-1024"}}, Got("0-1024", "range wider than 1024 ids")},
        {{{"is_cdm_node", "2-3\n"}, {"has_memory", "0-3\n"}, {"has_normal_memory", "2"}}, Got("0-3\\n") + Got("2-3\\n") + Managed(0, 1)},
        {{{"is_cdm_node", "<unreadable>"}, {"has_memory", "0"}, {"has_normal_memory", "1"}}, "0 9999" + Got("0") + cannotOpen + "is_cdm_node."},
        {{{"is_cdm_node", overlong}}, cannotOpen + "has_memory.|3 0x36 Get is cdm numa node, exception is throwed. (file={dir}/is_cdm_node," + large},
        {{{"has_normal_memory", overlong}}, "|3 0x36 Get has memory numa node, exception is throwed. (file={dir}/has_normal_memory," + large},
        {{{"has_normal_memory", Times("x,", 1024)}}, Times(Got("x", "stoi"), 1024)},
        {{{"has_normal_memory", Times("x,", 1025)}}, Times(Got("x", "stoi"), 1024) + dropped},
        {{{"has_normal_memory", "0-1023,5,1024"}}, Got("0-1023") + Got("5") + Got("1024") + dropped + Managed(0, 1023)}};
    const std::pair<std::string, std::string> meminfos[] = {
        {"Node 0 MemFree:        512 kB\nMemFree: 6 kB", success + "6KB)"},
        {"MemFree: 5 kB MemFree: 6 kB", success + "5KB)"},
        {"MemTotal: 9 kB\nMemFree: 5\nmemfree: 5 kB\n", "77" + notFound},
        {"MemFree:   kB\n", "77" + thrown + "detail=stoul)"},
        {"kB MemFree: 7 kB\nMemFree: 6 kB", "77" + read + "line invalid. (line=kB MemFree: 7 kB)"},
        {"MemFree:kB", "77" + read + "line invalid. (line=MemFree:kB)"},
        {bound, success + "8KB)"}, {bound + " ", "77" + thrown + large},
        {"<dir>", "77" + cannotOpen + "node0/meminfo."}};
    // clang-format on
    // Discovery into a set that holds 9999: "0 9999" before the journal when it failed and left the
    // set, nothing when it replaced the set by the nodes it found (named in the journal).
    for (const auto& [files, expected] : lists) {
        const Tree tree;
        for (const auto& [name, text] : files) {
            tree.Put(name, text);
        }
        NumaNodeSet nodes{9999};
        const std::string result = GetOsManagedNumaNodes(nodes, tree.dir) ? "" : "0 ";
        EXPECT_EQ(result + (nodes.count(9999) != 0 ? "9999" : "") + tree.Journal(), expected)
            << files.back().second.substr(0, 20);
    }
    // Node 0's meminfo read into 77: "77" before the journal when it failed.
    for (const auto& [text, expected] : meminfos) {
        const Tree tree;
        tree.Put("node0/meminfo", text);
        uint64_t freeKb = 77;
        const std::string result = GetNumaNodeFreeMemory(0, freeKb, tree.dir) ? "" : std::to_string(freeKb);
        EXPECT_EQ(result + tree.Journal(), expected) << text.substr(0, 20);
    }
}

TEST(Readers, FailWithTheAllocatorsRecordWhenABufferCannotGrow)
{
    const Tree tree;
    tree.Put("node1/meminfo", "Node 1 MemFree: 512 kB\n" + std::string(2000, ' ') + "\n");
    tree.Put("has_normal_memory", "1,2," + std::string(2000, ' ') + "3\n");
    Sim::Settings failuresOnly;
    failuresOnly.logLevel = 3;
    // With each large allocation of both reads made to fail in turn: whether one failed, the meminfo
    // read's result and value, the number of nodes read from the list, and the journal.
    std::set<std::string> outcomes;
    for (int n = 0; n < 16; ++n) {
        Sim::Apply(failuresOnly);
        uint64_t freeKb = 77;
        failingLargeAllocation = n;
        const bool read = GetNumaNodeFreeMemory(1, freeKb, tree.dir);
        const size_t nodes = GetHasMemoryNumaNodes(tree.dir + "/has_normal_memory").size();
        const bool failed = std::exchange(failingLargeAllocation, -1) < 0;
        outcomes.insert(std::string(failed ? "1" : "0") + (read ? "1 " : "0 ") + std::to_string(freeKb) + " " +
                        std::to_string(nodes) + tree.Journal());
    }
    const std::string thrown = ", exception is throwed. (file={dir}/";
    const std::string list = "|3 0x36 Get has memory numa node" + thrown + "has_normal_memory,detail=std::bad_alloc)";
    EXPECT_EQ(outcomes, std::set<std::string>({"01 512 3", "11 512 0" + list, "11 512 2" + list,
                                               "10 77 3|3 0x36 Get numa node free memory" + thrown +
                                                   "node1/meminfo,detail=std::bad_alloc)"}));
}

MemoryShortageDetector::Clock::time_point fakeNow;
int readsBeforeStop = -1;  // node reads before a stop signal comes; -1: none comes

// Between two node reads: each read takes a second of the fake clock, and a stop signal may come.
bool StopBetweenReads()
{
    fakeNow += std::chrono::seconds(1);
    return readsBeforeStop >= 0 && readsBeforeStop-- == 0;
}

// A detector on a fresh tree, started at time 0, with "os-memory" on one device (handle 1).
class DetectorTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(reporter.RegisterSensorNode({OS_MEMORY_NODE_NAME, 0x0617, 0xD0, -1}));
        CheckAt(std::chrono::seconds(0), {});
    }
    // Free KB of nodes 0, 1, ... for the check at this time; what the check added to the journal.
    std::string CheckAt(std::chrono::nanoseconds sinceStart, const std::vector<uint64_t>& freeKb)
    {
        for (size_t node = 0; node < freeKb.size(); ++node) {
            tree.Put("node" + std::to_string(node) + "/meminfo", "MemFree: " + std::to_string(freeKb[node]) + " kB");
        }
        const size_t before = tree.Journal().size();
        fakeNow = MemoryShortageDetector::Clock::time_point(sinceStart);
        detector.Check(reporter);
        return tree.Journal().substr(before);
    }

    Tree tree;
    SensorNodeEventReporter reporter;
    MemoryShortageDetector detector{tree.dir, [] { return fakeNow; }, &StopBetweenReads};
};

const std::string RAISED = "|hal update dev=0 handle=1 fault=1 event=1 ret=0";
const std::string CLEARED = "|hal update dev=0 handle=1 fault=1 event=0 ret=0";

TEST_F(DetectorTest, ChecksAMinuteAfterTheLastCheckAndReportsBelow16384AndAbove32768BelowTheSumLimit)
{
    constexpr uint64_t LIMIT = 107374182400;
    const std::string band = "|1 0x36 Not need reporting system memory shortage. (freeSize=";
    tree.Put("has_normal_memory", "0-1");
    // ns since the start, free KB of nodes 0 and 1, and the check's last record when it is the band
    // message or a HAL update; "-" when no check is due.
    // clang-format off
    const std::tuple<int64_t, std::vector<uint64_t>, std::string> steps[] = {
        {59'999'999'999, {}, "-"}, {60'000'000'000, {16384, 0}, band + "16384KB)"}, {119'999'999'999, {}, "-"},
        {120'000'000'000, {8000, 8383}, RAISED}, {180'200'000'000, {0, 16384}, band + "16384KB)"}, {240'100'000'000, {}, "-"},
        {240'200'000'000, {16384, 16384}, band + "32768KB)"}, {300'200'000'000, {100, 0}, ""},
        {360'200'000'000, {16385, 16384}, CLEARED}, {420'200'000'000, {32769, 0}, ""}, {480'200'000'000, {LIMIT, 0}, ""},
        {540'200'000'000, {100, 0}, RAISED}, {600'200'000'000, {LIMIT - 1, 1}, ""}, {660'200'000'000, {LIMIT - 2, 1}, CLEARED}};
    // clang-format on
    for (const auto& [ns, freeKb, verdict] : steps) {
        const std::string journal = CheckAt(std::chrono::nanoseconds(ns), freeKb);
        const std::string last = journal.empty() ? "-" : journal.substr(journal.rfind('|'));
        EXPECT_EQ(last.find("Success") == std::string::npos ? last : "", verdict) << ns;
    }
}

TEST_F(DetectorTest, KeepsItsNodesDropsAFailingCheckStopsOnRequestAndRetriesAnEmptyDiscovery)
{
    const std::string cannotOpen = "|3 0x36 Cannot open node statistic file {dir}/";
    EXPECT_EQ(CheckAt(std::chrono::minutes(1), {}), cannotOpen + "has_normal_memory." + RAISED);
    tree.Put("has_normal_memory", "0-2");
    CheckAt(std::chrono::minutes(2), {10, 10, 10});
    tree.Put("has_normal_memory", "0");
    std::filesystem::remove_all(tree.dir + "/node1");
    EXPECT_EQ(CheckAt(std::chrono::minutes(3), {1000000}),
              "|1 0x36 Get numa node free memory Success. (node=0,freeSize=1000000KB)" + cannotOpen + "node1/meminfo.");
    readsBeforeStop = 1;
    EXPECT_EQ(CheckAt(std::chrono::minutes(4), {100000, 100000, 100000}),
              "|1 0x36 Get numa node free memory Success. (node=0,freeSize=100000KB)");
    const std::string journal = CheckAt(std::chrono::minutes(5), {100000, 100000, 100000});
    EXPECT_EQ(journal.substr(journal.find("(node=2")), "(node=2,freeSize=100000KB)" + CLEARED);
}

TEST_F(DetectorTest, StopsForGoodAfterAFailedDiscovery)
{
    tree.Put("is_cdm_node", "<dir>");
    CheckAt(std::chrono::minutes(1), {});
    std::filesystem::remove_all(tree.dir + "/is_cdm_node");
    EXPECT_EQ(CheckAt(std::chrono::minutes(2), {10}), "");
}

}  // namespace
}  // namespace ProcMgr
