// The memory monitor on fixture sysfs trees: node lists, meminfo files and their bounds, and the
// detector's period, thresholds, sum limit and states, seen through the stand-ins' journal.
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <numeric>
#include <regex>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "memory_monitor/memory_monitor.h"
#include "platform/sim/control.h"
#include "tests/temp_dir.h"

namespace ProcMgr {
namespace {

using Lines = std::vector<std::string>;

class Tree {
public:
    const std::string& Dir() const { return temp.Path(); }
    // "<dir>" and "<fifo>" make those instead of a file.
    void Put(const std::string& name, const std::string& text) const
    {
        const std::filesystem::path path = Dir() + "/" + name;
        std::filesystem::create_directories(path.parent_path());
        if (text == "<dir>" || text == "<fifo>") {
            ASSERT_TRUE(text == "<dir>" ? mkdir(path.c_str(), 0700) == 0 : mkfifo(path.c_str(), 0600) == 0);
        } else {
            std::ofstream(path, std::ios::binary) << text;
        }
    }

private:
    Probes::TempDir temp{"memory-sysfs-"};
};

// Journal lines since Reset, the log records without their "[proc_launcher.cpp:N]", dir written
// "{dir}".
Lines Journal(const std::string& dir = "")
{
    Lines lines;
    for (const std::string& line : Sim::JournalLines()) {
        std::string plain = std::regex_replace(line, std::regex("\\[proc_launcher\\.cpp:\\d+\\]"), "");
        for (size_t at = plain.find(dir); !dir.empty() && at != std::string::npos; at = plain.find(dir)) {
            plain.replace(at, dir.size(), "{dir}");
        }
        lines.push_back(plain);
    }
    return lines;
}

std::string Item(const std::string& item)
{
    return "log 1 0x36 Get numa node " + item + ".";
}

TEST(NodeList, ItemsYieldTheirIdsOrTheFailureDetail)
{
    std::vector<int32_t> widest(1024);
    std::iota(widest.begin(), widest.end(), 0);
    const struct {
        std::string item;
        std::vector<int32_t> ids;
        const char* failure;
    } rows[] = {{"-1", {}, nullptr},          {"3-", {}, nullptr},         {"3-\\n", {}, "stoi"},
                {"5-3", {}, nullptr},         {"1-2-3", {1, 2}, nullptr},  {" 1", {1}, nullptr},
                {"2147483648", {}, "stoi"},   {"0-1023", widest, nullptr}, {"0-1024", {}, "range wider than 1024 ids"}};
    for (const auto& row : rows) {
        Sim::Reset();
        const std::string item = std::regex_replace(row.item, std::regex("\\\\n"), "\n");
        EXPECT_EQ(GetNumaNodeList(item), row.ids) << row.item;
        Lines logs{Item(row.item)};
        if (row.failure != nullptr) {
            logs.push_back("log 1 0x1000036 Get numa node list, exception is throwed. (str=" + row.item +
                           ",detail=" + row.failure + ")");
        }
        EXPECT_EQ(Journal(), logs);
    }
    Sim::Reset();
    EXPECT_TRUE(GetNumaNodeList("").empty());
    EXPECT_TRUE(Sim::JournalLines().empty());
}

const std::string OVERLONG(MAX_SYSFS_FILE_BYTES + 1, '1');
const std::string OPEN_FAILED = "log 3 0x36 Cannot open node statistic file {dir}/";

TEST(NodeList, DiscoveryTakesTheNodesWithMemoryLessTheCdmNodes)
{
    const struct {
        std::vector<std::pair<std::string, std::string>> files;
        bool result;
        NumaNodeSet nodes;  // the caller's set afterwards; 7 before
        Lines logs;
    } rows[] = {
        {{{"is_cdm_node", "2-3\n"}, {"has_memory", "0-3\n"}, {"has_normal_memory", "2\n"}}, true, {0, 1},
         {Item("0-3\\n"), Item("2-3\\n")}},
        {{{"has_memory", "0-3\n"}, {"has_normal_memory", "0,2\n"}}, true, {0, 2}, {Item("0"), Item("2\\n")}},
        {{{"is_cdm_node", "<dir>"}, {"has_memory", "0\n"}}, false, {7}, {Item("0\\n"), OPEN_FAILED + "is_cdm_node."}},
        {{{"is_cdm_node", "0\n"}}, true, {}, {OPEN_FAILED + "has_memory.", Item("0\\n")}},
        {{{"is_cdm_node", OVERLONG}, {"has_memory", "1\n"}}, true, {1},
         {Item("1\\n"), "log 3 0x36 Get is cdm numa node, exception is throwed. (file={dir}/is_cdm_node,detail=file "
                        "larger than 65536 bytes)"}},
        {{{"has_normal_memory", OVERLONG}}, true, {},
         {"log 3 0x36 Get has memory numa node, exception is throwed. (file={dir}/has_normal_memory,detail=file "
          "larger than 65536 bytes)"}},
        {{{"has_normal_memory", "<fifo>"}}, true, {}, {}},
    };
    for (const auto& row : rows) {
        Sim::Reset();
        const Tree tree;
        for (const auto& [name, text] : row.files) {
            tree.Put(name, text);
        }
        NumaNodeSet nodes{7};
        EXPECT_EQ(GetOsManagedNumaNodes(nodes, tree.Dir()), row.result);
        EXPECT_EQ(nodes, row.nodes);
        Lines logs = row.logs;
        for (const int32_t id : row.result ? row.nodes : NumaNodeSet{}) {
            logs.push_back("log 1 0x1000036 numa node " + std::to_string(id) + " is managed by os.");
        }
        EXPECT_EQ(Journal(tree.Dir()), logs);
    }
}

TEST(NodeList, OneReadKeepsAtMost1024ItemsAndIdsAndSaysSoOnce)
{
    const std::string dropped = "log 3 0x36 Get numa node list, more than 1024 items or nodes, rest dropped. (file={dir}/list)";
    std::string items;
    for (int item = 0; item < 1024; ++item) {
        items += "7,";
    }
    const struct {
        std::string text;
        size_t nodes;
        bool drops;
    } rows[] = {{items, 1, false}, {items + "5", 1, true}, {"0-1023,5", 1024, false}, {"0-1023,1024", 1024, true}};
    for (const auto& row : rows) {
        Sim::Reset();
        const Tree tree;
        tree.Put("list", row.text);
        EXPECT_EQ(GetHasMemoryNumaNodes(tree.Dir() + "/list").size(), row.nodes);
        const Lines logs = Journal(tree.Dir());
        EXPECT_EQ(std::count(logs.begin(), logs.end(), dropped), row.drops ? 1 : 0);
    }
}

TEST(Meminfo, TheLastMemFreeLineGivesTheNodesFreeKb)
{
    const std::string file = "{dir}/node0/meminfo";
    const std::string failed = "log 3 0x36 Get numa node free memory, exception is throwed. (file=" + file + ",detail=";
    const std::string invalid = "log 3 0x36 Get numa node free memory, line invalid. (line=";
    const std::string notFound = "log 3 0x36 Get numa node free memory, not find free size item. (file=" + file + ")";
    std::string bound = "MemFree: 8 kB\n";
    bound.resize(MAX_SYSFS_FILE_BYTES, ' ');
    const struct {
        std::string text;
        uint64_t freeKb;  // 0: the read fails
        Lines logs;       // before the success record
    } rows[] = {
        {"Node 0 MemTotal:  9 kB\nNode 0 MemFree:        512 kB\n", 512, {}},
        {"MemFree: 5 kB\nMemFree: 6 kB", 6, {}},
        {"MemTotal: 9 kB\nMemFree: 5\nmemfree: 5 kB\n", 0, {notFound}},
        {"MemFree: 5 kB\nMemFree:   kB\n", 0, {failed + "stoul)"}},
        {"MemFree: 5 kB\nMemFree: -1 kB\n", 0, {notFound}},
        {"kB MemFree: 7 kB\nMemFree: 6 kB\n", 0, {invalid + "kB MemFree: 7 kB)"}},
        {"MemFree:kB\n", 0, {invalid + "MemFree:kB)"}},
        {bound, 8, {}},
        {bound + " ", 0, {failed + "file larger than 65536 bytes)"}},
        {"<dir>", 0, {OPEN_FAILED + "node0/meminfo."}},
    };
    for (const auto& row : rows) {
        Sim::Reset();
        const Tree tree;
        tree.Put("node0/meminfo", row.text);
        uint64_t freeKb = 77;
        EXPECT_EQ(GetNumaNodeFreeMemory(0, freeKb, tree.Dir()), row.freeKb != 0) << row.text.substr(0, 40);
        EXPECT_EQ(freeKb, row.freeKb != 0 ? row.freeKb : 77);
        Lines logs = row.logs;
        if (row.freeKb != 0) {
            logs.push_back("log 1 0x36 Get numa node free memory Success. (node=0,freeSize=" +
                           std::to_string(row.freeKb) + "KB)");
        }
        EXPECT_EQ(Journal(tree.Dir()), logs);
    }
}

MemoryShortageDetector::Clock::time_point fakeNow;
bool stopNow = false;

// A detector at time 0 on a fresh tree with "os-memory" registered on one device (handle 1).
class DetectorTest : public testing::Test {
protected:
    void SetUp() override
    {
        Sim::Reset();
        fakeNow = {};
        stopNow = false;
        ASSERT_TRUE(reporter.RegisterSensorNode({OS_MEMORY_NODE_NAME, 0x0617, 0xD0, -1}));
        detector.Check(reporter);
    }
    // Free KB of nodes 0, 1, ... for the check of this minute; the journal lines it added.
    Lines CheckInMinute(int minute, const std::vector<uint64_t>& freeKb = {})
    {
        for (size_t node = 0; node < freeKb.size(); ++node) {
            tree.Put("node" + std::to_string(node) + "/meminfo", "MemFree: " + std::to_string(freeKb[node]) + " kB");
        }
        const size_t before = Sim::JournalLines().size();
        fakeNow = MemoryShortageDetector::Clock::time_point(std::chrono::minutes(minute));
        detector.Check(reporter);
        const Lines lines = Journal(tree.Dir());
        return {lines.begin() + static_cast<std::ptrdiff_t>(before), lines.end()};
    }
    static std::string Update(int event) { return "hal update dev=0 handle=1 fault=1 event=" + std::to_string(event) + " ret=0"; }

    Tree tree;
    DeviceCount devices;
    SensorNodeEventReporter reporter{devices};
    MemoryShortageDetector detector{tree.Dir(), [] { return fakeNow; }, [] { return stopNow; }};
};

TEST_F(DetectorTest, ChecksOnTheFirstTickSixtySecondsAfterTheLastCheck)
{
    tree.Put("has_normal_memory", "0");
    tree.Put("node0/meminfo", "MemFree: 100 kB");
    const std::pair<int64_t, bool> ticks[] = {{59'999'999'999, false}, {60'000'000'000, true}, {119'999'999'999, false},
                                              {120'000'000'000, true}, {180'200'000'000, true}, {240'100'000'000, false}};
    for (const auto& [ns, checks] : ticks) {
        const size_t before = Sim::JournalLines().size();
        fakeNow = MemoryShortageDetector::Clock::time_point(std::chrono::nanoseconds(ns));
        detector.Check(reporter);
        EXPECT_EQ(Sim::JournalLines().size() > before, checks) << ns;
    }
}

TEST_F(DetectorTest, ReportsBelow16384AndClearsAbove32768WhileTheSumStaysBelowItsLimit)
{
    constexpr uint64_t LIMIT = 107374182400;
    const auto band = [](const char* kb) {
        return std::string("log 1 0x36 Not need reporting system memory shortage. (freeSize=") + kb + "KB)";
    };
    tree.Put("has_normal_memory", "0-1");
    const struct {
        std::vector<uint64_t> freeKb;
        std::string verdict;  // the check's last line when it is a HAL update or the band message
    } steps[] = {{{16384, 0}, band("16384")}, {{8000, 8383}, Update(1)},     {{0, 16384}, band("16384")},
                 {{16384, 16384}, band("32768")}, {{100, 0}, ""},         {{16385, 16384}, Update(0)},
                 {{32769, 0}, ""},              {{LIMIT, 0}, ""},          {{100, 0}, Update(1)},
                 {{LIMIT - 1, 1}, ""},          {{LIMIT - 2, 1}, Update(0)}};
    int minute = 1;
    for (const auto& step : steps) {
        const std::string last = CheckInMinute(minute++, step.freeKb).back();
        const bool verdict = last.rfind("hal ", 0) == 0 || last.find("Not need") != std::string::npos;
        EXPECT_EQ(verdict ? last : "", step.verdict) << "minute " << minute - 1;
    }
}

TEST_F(DetectorTest, KeepsItsNodesAbandonsAFailingCheckAndStopsOnRequest)
{
    tree.Put("has_normal_memory", "0-2");
    CheckInMinute(1, {10, 10, 10});
    tree.Put("has_normal_memory", "0");
    std::filesystem::remove_all(tree.Dir() + "/node1");
    EXPECT_EQ(CheckInMinute(2, {1000000}), (Lines{"log 1 0x36 Get numa node free memory Success. (node=0,freeSize=1000000KB)",
                                                   OPEN_FAILED + "node1/meminfo."}));
    stopNow = true;
    EXPECT_EQ(CheckInMinute(3, {10, 10, 10}), Lines{});
    stopNow = false;
    const Lines lines = CheckInMinute(4, {100000, 100000, 100000});
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(), [](const std::string& line) { return line.find("Success") != std::string::npos; }), 3);
    EXPECT_EQ(lines.back(), Update(0)) << "the three nodes found first are read, and the shortage stood";
}

TEST_F(DetectorTest, RetriesAnEmptyDiscoveryAndStopsForGoodAfterAFailedOne)
{
    EXPECT_EQ(CheckInMinute(1), (Lines{OPEN_FAILED + "has_normal_memory.", Update(1)}));
    EXPECT_EQ(CheckInMinute(2), Lines{OPEN_FAILED + "has_normal_memory."});
    tree.Put("is_cdm_node", "<dir>");
    EXPECT_EQ(CheckInMinute(3), (Lines{OPEN_FAILED + "has_memory.", OPEN_FAILED + "is_cdm_node."}));
    std::filesystem::remove_all(tree.Dir() + "/is_cdm_node");
    EXPECT_EQ(CheckInMinute(4, {10}), Lines{}) << "no file is read once discovery failed";
}

}  // namespace
}  // namespace ProcMgr
