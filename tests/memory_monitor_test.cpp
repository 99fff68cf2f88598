// The memory monitor on fixture sysfs trees: node lists, meminfo files and their bounds, and the
// detector's period, thresholds, sum limit and states, seen through the stand-ins' journal.
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <regex>
#include <stdexcept>
#include <string>
#include <vector>

#include "memory_monitor/memory_monitor.h"
#include "platform/sim/control.h"

namespace ProcMgr {
namespace {

// A fresh directory of fixture files and a fresh stand-in journal; removed with the test.
struct Tree {
    Tree() { Sim::Reset(); }
    ~Tree() { std::filesystem::remove_all(dir); }
    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;
    // A directory where the text is "<dir>".
    void Put(const std::string& name, const std::string& text) const
    {
        const std::filesystem::path file = dir + "/" + name;
        std::filesystem::create_directories(text == "<dir>" ? file : file.parent_path());
        if (text != "<dir>") {
            std::ofstream(file, std::ios::binary) << text;
        }
    }
    // The journal's lines after "|", log records without "log " and "[proc_launcher.cpp:N]", this
    // directory written "{dir}".
    std::string Journal() const
    {
        std::string text;
        for (const std::string& line : Sim::JournalLines()) {
            text += "|" + std::regex_replace(line, std::regex("^log (\\d \\w+) \\[proc_launcher\\.cpp:\\d+\\]"), "$1 ");
        }
        return std::regex_replace(text, std::regex(dir), "{dir}");
    }

    std::string dir = [] {
        char name[] = "/tmp/memory-sysfs-XXXXXX";
        return mkdtemp(name) != nullptr ? std::string(name) : throw std::runtime_error("no temporary directory");
    }();
};

template <typename Ids>
std::string Joined(const Ids& ids)
{
    std::string text;
    for (const int32_t id : ids) {
        text += (text.empty() ? "" : ",") + std::to_string(id);
    }
    return text;
}

using Call = std::function<std::string(const Tree&)>;

Call Item(const std::string& item)
{
    return [item](const Tree&) { return Joined(GetNumaNodeList(item)); };
}

// The files, then discovery into a set that holds 7: its result and the set.
Call Discovery(std::vector<std::pair<std::string, std::string>> files)
{
    return [files](const Tree& tree) {
        for (const auto& [name, text] : files) {
            tree.Put(name, text);
        }
        NumaNodeSet nodes{7};
        const bool found = GetOsManagedNumaNodes(nodes, tree.dir);
        return std::to_string(found) + " " + Joined(nodes);
    };
}

// Node 0's meminfo, then its read into 77: the result and the value.
Call Meminfo(const std::string& text)
{
    return [text](const Tree& tree) {
        tree.Put("node0/meminfo", text);
        uint64_t freeKb = 77;
        const bool read = GetNumaNodeFreeMemory(0, freeKb, tree.dir);
        return std::to_string(read) + " " + std::to_string(freeKb);
    };
}

const std::string DROPPED =
    "|3 0x36 Get numa node list, more than 1024 items or nodes, rest dropped. (file={dir}/has_normal_memory)";

std::string Success(uint64_t freeKb)
{
    return "|1 0x36 Get numa node free memory Success. (node=0,freeSize=" + std::to_string(freeKb) + "KB)";
}

std::string Times(const std::string& text, size_t times)
{
    std::string out;
    while (times-- > 0) {
        out += text;
    }
    return out;
}

std::string Got(const std::string& item, const std::string& failure = "")
{
    return "|1 0x36 Get numa node " + item + "." +
           (failure.empty()
                ? ""
                : "|1 0x1000036 Get numa node list, exception is throwed. (str=" + item + ",detail=" + failure + ")");
}

std::string Managed(int32_t first, int32_t last)
{
    std::string text;
    for (int32_t id = first; id <= last; ++id) {
        text += "|1 0x1000036 numa node " + std::to_string(id) + " is managed by os.";
    }
    return text;
}

TEST(Readers, GiveTheirResultAndLogAsTheKernelTextAndTheBoundsSay)
{
    const std::string overlong(MAX_SYSFS_FILE_BYTES + 1, '1');
    const std::string bound = "MemFree: 8 kB\n" + std::string(MAX_SYSFS_FILE_BYTES - 14, ' ');
    const std::string large = "detail=file larger than 65536 bytes)";
    const std::string cannotOpen = "|3 0x36 Cannot open node statistic file {dir}/";
    const std::string read = "|3 0x36 Get numa node free memory, ";
    const std::string thrown = read + "exception is throwed. (file={dir}/node0/meminfo,";
    const std::string notFound = read + "not find free size item. (file={dir}/node0/meminfo)";
    std::string failedItems;
    for (int item = 0; item < 1024; ++item) {
        failedItems += Got("x", "stoi");
    }
    // clang-format off
    const std::pair<Call, std::string> rows[] = {
        {Item("-1"), Got("-1")}, {Item("5-3"), Got("5-3")}, {Item("1-2-3"), "1,2" + Got("1-2-3")}, {Item(""), ""},
        {Item("3-\n"), Got("3-\\n", "stoi")}, {Item("2147483648"), Got("2147483648", "stoi")},
        {Item("1021-1024"), "1021,1022,1023,1024" + Got("1021-1024")}, {Item("0-1024"), Got("0-1024", "range wider than 1024 ids")},
        {Discovery({{"is_cdm_node", "2-3\n"}, {"has_memory", "0-3\n"}, {"has_normal_memory", "2"}}), "1 0,1" + Got("0-3\\n") + Got("2-3\\n") + Managed(0, 1)},
        {Discovery({{"has_normal_memory", "0,,2"}}), "1 0,2" + Got("0") + Got("2") + Managed(0, 0) + Managed(2, 2)},
        {Discovery({{"is_cdm_node", "<dir>"}, {"has_memory", "0"}}), "0 7" + Got("0") + cannotOpen + "is_cdm_node."},
        {Discovery({{"is_cdm_node", overlong}}), "1 " + cannotOpen + "has_memory.|3 0x36 Get is cdm numa node, exception is throwed. (file={dir}/is_cdm_node," + large},
        {Discovery({{"has_normal_memory", overlong}}), "1 |3 0x36 Get has memory numa node, exception is throwed. (file={dir}/has_normal_memory," + large},
        {Discovery({{"has_normal_memory", Times("x,", 1024)}}), "1 " + failedItems},
        {Discovery({{"has_normal_memory", Times("x,", 1025)}}), "1 " + failedItems + DROPPED},
        {Discovery({{"has_normal_memory", "0-1023,5,1024"}}), "1 " + Joined(GetNumaNodeList("0-1023")) + Got("0-1023") + Got("5") + Got("1024") + DROPPED + Managed(0, 1023)},
        {Meminfo("Node 0 MemFree:        512 kB\nMemFree: 6 kB"), "1 6" + Success(6)},
        {Meminfo("MemTotal: 9 kB\nMemFree: 5\nmemfree: 5 kB\n"), "0 77" + notFound},
        {Meminfo("MemFree: 5 kB\nMemFree: -1 kB\n"), "0 77" + notFound},
        {Meminfo("MemFree:   kB\n"), "0 77" + thrown + "detail=stoul)"},
        {Meminfo("kB MemFree: 7 kB\nMemFree: 6 kB"), "0 77" + read + "line invalid. (line=kB MemFree: 7 kB)"},
        {Meminfo("MemFree:kB"), "0 77" + read + "line invalid. (line=MemFree:kB)"},
        {Meminfo(bound), "1 8" + Success(8)}, {Meminfo(bound + " "), "0 77" + thrown + large},
        {Meminfo("<dir>"), "0 77" + cannotOpen + "node0/meminfo."}};
    // clang-format on
    int row = 0;
    for (const auto& [call, expected] : rows) {
        const Tree tree;
        const std::string result = call(tree);
        EXPECT_EQ(result + tree.Journal(), expected) << "row " << row++;
    }
}

MemoryShortageDetector::Clock::time_point fakeNow;
bool stopNow = false;

// A detector on a fresh tree, started at time 0, with "os-memory" on one device (handle 1).
class DetectorTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(reporter.RegisterSensorNode({OS_MEMORY_NODE_NAME, 0x0617, 0xD0, -1}));
        Check(std::chrono::seconds(0));
    }
    // What the check at this time added to the journal.
    std::string Check(std::chrono::nanoseconds sinceStart)
    {
        const size_t before = tree.Journal().size();
        fakeNow = MemoryShortageDetector::Clock::time_point(sinceStart);
        detector.Check(reporter);
        return tree.Journal().substr(before);
    }
    std::string CheckInMinute(int minute, const std::vector<uint64_t>& freeKb)
    {
        for (size_t node = 0; node < freeKb.size(); ++node) {
            tree.Put("node" + std::to_string(node) + "/meminfo", "MemFree: " + std::to_string(freeKb[node]) + " kB");
        }
        return Check(std::chrono::minutes(minute));
    }

    Tree tree;
    DeviceCount devices;
    SensorNodeEventReporter reporter{devices};
    MemoryShortageDetector detector{tree.dir, [] { return fakeNow; }, [] { return stopNow; }};
};

const std::string RAISED = "|hal update dev=0 handle=1 fault=1 event=1 ret=0";
const std::string CLEARED = "|hal update dev=0 handle=1 fault=1 event=0 ret=0";

TEST_F(DetectorTest, ChecksOnTheFirstTickSixtySecondsAfterTheLastCheck)
{
    tree.Put("has_normal_memory", "0");
    tree.Put("node0/meminfo", "MemFree: 100 kB");
    // clang-format off
    const std::pair<int64_t, bool> ticks[] = {{59'999'999'999, false}, {60'000'000'000, true}, {119'999'999'999, false},
                                              {120'000'000'000, true}, {180'200'000'000, true}, {240'100'000'000, false}};
    // clang-format on
    for (const auto& [ns, checks] : ticks) {
        EXPECT_EQ(Check(std::chrono::nanoseconds(ns)).empty(), !checks) << ns;
    }
}

TEST_F(DetectorTest, ReportsBelow16384AndClearsAbove32768WhileTheSumStaysBelowItsLimit)
{
    constexpr uint64_t LIMIT = 107374182400;
    const auto band = [](const char* kb) {
        return std::string("|1 0x36 Not need reporting system memory shortage. (freeSize=") + kb + "KB)";
    };
    tree.Put("has_normal_memory", "0-1");
    // clang-format off
    const std::pair<std::vector<uint64_t>, std::string> steps[] = {
        {{16384, 0}, band("16384")}, {{8000, 8383}, RAISED}, {{0, 16384}, band("16384")}, {{16384, 16384}, band("32768")},
        {{100, 0}, ""}, {{16385, 16384}, CLEARED}, {{32769, 0}, ""}, {{LIMIT, 0}, ""}, {{100, 0}, RAISED},
        {{LIMIT - 1, 1}, ""}, {{LIMIT - 2, 1}, CLEARED}};
    // clang-format on
    int minute = 1;
    for (const auto& [freeKb, verdict] : steps) {
        // The check's last record when it is the band message or a HAL update.
        const std::string journal = CheckInMinute(minute++, freeKb);
        const std::string last = journal.substr(journal.rfind('|'));
        EXPECT_EQ(last.find("Success") == std::string::npos ? last : "", verdict) << "minute " << minute - 1;
    }
}

TEST_F(DetectorTest, KeepsItsNodesDropsAFailingCheckStopsOnRequestAndRetriesAnEmptyDiscovery)
{
    const std::string cannotOpen = "|3 0x36 Cannot open node statistic file {dir}/";
    EXPECT_EQ(CheckInMinute(1, {}), cannotOpen + "has_normal_memory." + RAISED);
    tree.Put("has_normal_memory", "0-2");
    CheckInMinute(2, {10, 10, 10});
    tree.Put("has_normal_memory", "0");
    std::filesystem::remove_all(tree.dir + "/node1");
    EXPECT_EQ(CheckInMinute(3, {1000000}),
              "|1 0x36 Get numa node free memory Success. (node=0,freeSize=1000000KB)" + cannotOpen + "node1/meminfo.");
    stopNow = true;
    EXPECT_EQ(CheckInMinute(4, {100000, 100000, 100000}), "");
    stopNow = false;
    const std::string journal = CheckInMinute(5, {100000, 100000, 100000});
    EXPECT_EQ(journal.substr(journal.find("(node=2")), "(node=2,freeSize=100000KB)" + CLEARED);
}

TEST_F(DetectorTest, StopsForGoodAfterAFailedDiscovery)
{
    tree.Put("is_cdm_node", "<dir>");
    CheckInMinute(1, {});
    std::filesystem::remove_all(tree.dir + "/is_cdm_node");
    EXPECT_EQ(CheckInMinute(2, {10}), "");
}

}  // namespace
}  // namespace ProcMgr
