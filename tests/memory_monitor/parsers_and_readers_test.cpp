#include <algorithm>
#include <gtest/gtest.h>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "memory_monitor/memory_monitor.h"
#include "tests/memory_monitor/memory_test_support.h"

namespace {

using ProcMgr::NumaNodeSet;
using Logs = std::vector<std::string>;

std::string Item(const std::string& item)
{
    return "I|Get numa node " + item + ".";
}
std::string CannotOpen(const std::string& file)
{
    return "E|Cannot open node statistic file {dir}/" + file + ".";
}

struct ItemRow {
    const char* name;
    std::string item;
    std::vector<int32_t> ids;
    const char* failure;  // the detail of the failure record, nullptr when none is expected
};

TEST(NodeListItemTest, YieldsTheIdsAndLogsTheItem)
{
    std::vector<int32_t> widest(1024);
    std::iota(widest.begin(), widest.end(), 0);
    const ItemRow rows[] = {{"empty item is silent", "", {}, nullptr},
                            {"leading dash skipped silently", "-1", {}, nullptr},
                            {"trailing dash skipped silently", "3-", {}, nullptr},
                            {"dash before the line break is not last", "3-\n", {}, "stoi"},
                            {"reversed range skipped silently", "5-3", {}, nullptr},
                            {"upper bound stops at the second dash", "1-2-3", {1, 2}, nullptr},
                            {"blank lower bound", " -2", {}, "stoi"},
                            {"letters in the upper bound", "1-x", {}, "stoi"},
                            {"one past int32", "2147483648", {}, "stoi"},
                            {"one-id range at int32 max stops", "2147483647-2147483647", {2147483647}, nullptr},
                            {"widest range allowed", "0-1023", widest, nullptr},
                            {"one id too wide", "0-1024", {}, "range wider than 1024 ids"},
                            {"range to int32 max is bounded", "0-2147483647", {}, "range wider than 1024 ids"}};
    for (const ItemRow& row : rows) {
        SCOPED_TRACE(row.name);
        Fakes::ResetAll();
        EXPECT_EQ(ProcMgr::GetNumaNodeList(row.item), row.ids);
        Logs logs{Item(row.item)};
        if (row.failure != nullptr) {
            logs.push_back("R|Get numa node list, exception is throwed. (str=" + row.item + ",detail=" + row.failure +
                           ")");
        }
        EXPECT_EQ(MemoryTest::Logs(), row.item.empty() ? Logs{} : logs);
    }
}

// Text padded to the read bound, or one byte beyond it.
std::string Padded(std::string text, size_t beyond = 0)
{
    text.resize(ProcMgr::MAX_SYSFS_FILE_BYTES + beyond, ' ');
    return text;
}
const std::string OVERLONG = Padded("1,", 1);
const std::string OVERLONG_DETAIL = "detail=file larger than 65536 bytes)";

struct DiscoveryRow {
    const char* name;
    std::vector<std::pair<std::string, std::string>> files;
    bool result;
    NumaNodeSet nodes;  // the caller's set afterwards; it holds 7 before
    Logs logs;          // before the lines naming the managed nodes
};

TEST(DiscoveryTest, FindsTheNodesTheOsManagesInTheNodeLists)
{
    const std::string normal = "has_normal_memory";
    // clang-format off
    const DiscoveryRow rows[] = {
        {"FIFO reads as an empty file without blocking", {{normal, MemoryTest::FIFO}}, true, {}, {}},
        {"empty items are silent, the line break is not", {{normal, ",,\n"}}, true, {},
         {Item("\n"), "R|Get numa node list, exception is throwed. (str=\n,detail=stoi)"}},
        {"items, ranges and CRLF", {{normal, "0-3,5\r\n"}}, true, {0, 1, 2, 3, 5}, {Item("0-3"), Item("5\r\n")}},
        {"line break does not end an item", {{normal, "1\n2\n"}}, true, {1}, {Item("1\n2\n")}},
        {"NUL inside an item", {{normal, std::string("0\0,2\n", 5)}}, true, {0, 2}, {Item("0"), Item("2\n")}},
        {"overlong file finds no node", {{normal, OVERLONG}}, true, {},
         {"E|Get has memory numa node, exception is throwed. (file={dir}/has_normal_memory," + OVERLONG_DETAIL}},
        {"missing normal-memory list finds no node", {}, true, {}, {CannotOpen(normal)}},
        {"with a CDM list the nodes with memory less the CDM nodes count",
         {{"is_cdm_node", "2-3\n"}, {"has_memory", "0-3\n"}, {normal, "0\n"}}, true, {0, 1},
         {Item("0-3\n"), Item("2-3\n")}},
        {"unopenable CDM list fails and keeps the set",
         {{"is_cdm_node", MemoryTest::DIRECTORY}, {"has_memory", "0\n"}}, false, {7},
         {Item("0\n"), CannotOpen("is_cdm_node")}},
        {"missing has_memory still reads the CDM list", {{"is_cdm_node", "1\n"}}, true, {},
         {CannotOpen("has_memory"), Item("1\n")}},
        {"overlong CDM list removes nothing", {{"is_cdm_node", OVERLONG}, {"has_memory", "0-2\n"}}, true,
         {0, 1, 2}, {Item("0-2\n"),
         "E|Get is cdm numa node, exception is throwed. (file={dir}/is_cdm_node," + OVERLONG_DETAIL}},
        {"dangling CDM link counts as absent",
         {{"is_cdm_node", MemoryTest::DANGLING_LINK}, {"has_memory", "0-1\n"}, {normal, "1\n"}}, true, {1},
         {Item("1\n")}}};
    // clang-format on
    for (const DiscoveryRow& row : rows) {
        SCOPED_TRACE(row.name);
        Fakes::ResetAll();
        MemoryTest::SysfsTree tree;
        for (const auto& [name, content] : row.files) {
            tree.Place(name, content);
        }
        NumaNodeSet nodes{7};
        EXPECT_EQ(ProcMgr::GetOsManagedNumaNodes(nodes, tree.Dir()), row.result);
        EXPECT_EQ(nodes, row.nodes);
        Logs logs = row.logs;
        for (const int32_t id : row.result ? row.nodes : NumaNodeSet{}) {
            logs.push_back("R|numa node " + std::to_string(id) + " is managed by os.");
        }
        EXPECT_EQ(MemoryTest::Logs(tree.Dir()), logs);
    }
}

TEST(NodeListBoundTest, KeepsAtMost1024ItemsAndIdsAndSaysSoOnce)
{
    const auto items = [](size_t count) {
        std::string text;
        for (size_t item = 0; item < count; ++item) {
            text += "7,";
        }
        return text;
    };
    const std::string dropped = "E|Get numa node list, more than 1024 items or nodes, rest dropped. (file={dir}/list)";
    struct Row {
        std::string text;
        size_t nodes;
        bool drops;
    };
    const Row rows[] = {
        {items(1024), 1, false}, {items(1025), 1, true}, {"0-1023,5", 1024, false}, {"0-1023,1024", 1024, true}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text.substr(0, 12));
        Fakes::ResetAll();
        MemoryTest::SysfsTree tree;
        tree.Place("list", row.text);
        EXPECT_EQ(ProcMgr::GetHasMemoryNumaNodes(tree.Dir() + "/list").size(), row.nodes);
        const Logs logs = MemoryTest::Logs(tree.Dir());
        EXPECT_EQ(std::count(logs.begin(), logs.end(), dropped), row.drops ? 1 : 0);
    }
}

struct MeminfoRow {
    const char* name;
    std::string content;  // of node0/meminfo
    uint64_t freeKb;      // 0: the read fails
    Logs logs;            // before the success line
};

TEST(NodeFreeMemoryTest, ReadsMemFreeOfTheNode)
{
    const std::string notFound = "E|Get numa node free memory, not find free size item. (file={dir}/node0/meminfo)";
    const std::string failure = "E|Get numa node free memory, exception is throwed. (file={dir}/node0/meminfo,";
    const std::string invalid = "E|Get numa node free memory, line invalid. (line=";
    // clang-format off
    const MeminfoRow rows[] = {
        {"kernel meminfo", "Node 0 MemTotal:       65536000 kB\nNode 0 MemFree:        512 kB\n", 512, {}},
        {"key and unit are case sensitive", "memfree: 5 kB\nMemFree: 5 KB\n", 0, {notFound}},
        {"beyond 64 bits fails the read", "MemFree: 18446744073709551616 kB\n", 0, {failure + "detail=stoul)"}},
        {"no number fails the read after a value", "MemFree: 5 kB\nMemFree:   kB\nMemFree: 6 kB\n", 0,
         {failure + "detail=stoul)"}},
        {"unit not beyond the key is logged, the last value wins",
         "MemFree: 5 kB\nkB MemFree: 1\nMemFree:kB\nMemFree: 6 kB\n", 6,
         {invalid + "kB MemFree: 1)", invalid + "MemFree:kB)"}},
        {"invalid line printed up to NUL", std::string("kB\0 MemFree: 3\n", 15), 0, {invalid + "kB)", notFound}},
        {"minus one means no value", "MemFree: 5 kB\nMemFree: -1 kB\n", 0, {notFound}},
        {"CRLF, no blank, no final line break", "MemTotal: 9 kB\r\nMemFree:8kB", 8, {}},
        {"file of the read bound", Padded("MemFree: 8 kB\n"), 8, {}},
        {"one byte more fails the read", Padded("MemFree: 8 kB\n", 1), 0, {failure + OVERLONG_DETAIL}},
        {"missing file", MemoryTest::MISSING, 0, {CannotOpen("node0/meminfo")}},
        {"directory instead of the file", MemoryTest::DIRECTORY, 0, {CannotOpen("node0/meminfo")}}};
    // clang-format on
    for (const MeminfoRow& row : rows) {
        SCOPED_TRACE(row.name);
        Fakes::ResetAll();
        MemoryTest::SysfsTree tree;
        tree.Place("node0/meminfo", row.content);
        uint64_t freeKb = 77;
        EXPECT_EQ(ProcMgr::GetNumaNodeFreeMemory(0, freeKb, tree.Dir()), row.freeKb != 0);
        EXPECT_EQ(freeKb, row.freeKb != 0 ? row.freeKb : 77) << "the output is written only on success";
        Logs logs = row.logs;
        if (row.freeKb != 0) {
            logs.push_back("I|Get numa node free memory Success. (node=0,freeSize=" + std::to_string(row.freeKb) +
                           "KB)");
        }
        EXPECT_EQ(MemoryTest::Logs(tree.Dir()), logs);
    }
}

}  // namespace
