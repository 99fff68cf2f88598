#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "memory_monitor/memory_monitor.h"
#include "tests/fakes/fakes.h"
#include "tests/memory_monitor/memory_test_support.h"

namespace {

using namespace std::string_literals;
using MemoryTest::CannotOpen;
using MemoryTest::LogLine;
using MemoryTest::DIRECTORY;
using MemoryTest::FIFO;
using MemoryTest::MISSING;
using MemoryTest::DANGLING_LINK;
using ProcMgr::NumaNodeSet;

const std::string OVERLONG = std::string(70000, ' ');
const std::string OVERLONG_DETAIL = "record longer than 65536 bytes";

LogLine Item(const std::string& item)
{
    return {MemoryTest::MODULE, MemoryTest::INFO, "Get numa node " + item + "."};
}
LogLine ItemFailure(const std::string& item, const std::string& detail)
{
    return {MemoryTest::RUNLOG_MODULE, MemoryTest::INFO,
            "Get numa node list, exception is throwed. (str=" + item + ",detail=" + detail + ")"};
}
LogLine ListFailure(const std::string& file, const std::string& detail)
{
    return {MemoryTest::MODULE, MemoryTest::ERROR,
            "Get has memory numa node, exception is throwed. (file={dir}/" + file + ",detail=" + detail + ")"};
}
LogLine CdmFailure(const std::string& detail)
{
    return {MemoryTest::MODULE, MemoryTest::ERROR,
            "Get is cdm numa node, exception is throwed. (file={dir}/is_cdm_node,detail=" + detail + ")"};
}
LogLine Managed(int32_t id)
{
    return {MemoryTest::RUNLOG_MODULE, MemoryTest::INFO, "numa node " + std::to_string(id) + " is managed by os."};
}

using Files = std::vector<std::pair<std::string, std::string>>;

class TopologyTest : public testing::Test {
protected:
    void SetUp() override { Fakes::ResetAll(); }

    void Create(const Files& files) const
    {
        for (const auto& [name, content] : files) {
            tree.Place(name, content);
        }
    }

    MemoryTest::SysfsTree tree;
};

struct ListFileRow {
    const char* guards;
    std::string content;
    NumaNodeSet nodes;
    std::vector<LogLine> logs;
};

const ListFileRow LIST_FILE_ROWS[] = {
    {"empty file has no item", "", {}, {}},
    {"missing file", MISSING, {}, {CannotOpen("has_memory")}},
    {"directory instead of file", DIRECTORY, {}, {CannotOpen("has_memory")}},
    {"FIFO reads as empty without blocking", FIFO, {}, {}},
    {"empty items are silent, the line break is not", ",,\n", {}, {Item("\n"), ItemFailure("\n", "stoi")}},
    {"items and ranges", "0-3,5\n", {0, 1, 2, 3, 5}, {Item("0-3"), Item("5\n")}},
    {"repeated ids stay once", "1,0-2\n", {0, 1, 2}, {Item("1"), Item("0-2\n")}},
    {"line break does not end an item", "1\n2\n", {1}, {Item("1\n2\n")}},
    {"CRLF", "0,2\r\n", {0, 2}, {Item("0"), Item("2\r\n")}},
    {"NUL inside an item", "0\0,2\n"s, {0, 2}, {Item("0"), Item("2\n")}},
    {"long item within the bound", std::string(60000, ' ') + "7\n", {7}, {Item(std::string(60000, ' ') + "7\n")}},
    {"overlong item ends the read", "1," + OVERLONG, {1}, {Item("1"), ListFailure("has_memory", OVERLONG_DETAIL)}},
};

class ListFileTest : public TopologyTest, public testing::WithParamInterface<ListFileRow> {};

TEST_P(ListFileTest, ReadsEveryItem)
{
    const ListFileRow& row = GetParam();
    Create({{"has_memory", row.content}});
    EXPECT_EQ(ProcMgr::GetHasMemoryNumaNodes(tree.Dir() + "/has_memory"), row.nodes);
    EXPECT_EQ(MemoryTest::LoggedLines(), MemoryTest::WithDir(row.logs, tree.Dir()));
}

INSTANTIATE_TEST_SUITE_P(Rows, ListFileTest, testing::ValuesIn(LIST_FILE_ROWS), MemoryTest::RowNamer());

struct DiscoveryRow {
    const char* guards;
    Files files;
    bool result;
    NumaNodeSet nodes;  // the caller's set afterwards; it holds 7 before
    std::vector<LogLine> logs;
};

const DiscoveryRow DISCOVERY_ROWS[] = {
    {"without CDM list the normal-memory nodes count",
     {{"has_normal_memory", "0\n"}, {"has_memory", "0-3\n"}},
     true,
     {0},
     {Item("0\n"), Managed(0)}},
    {"CDM nodes leave the nodes with memory",
     {{"is_cdm_node", "2-3\n"}, {"has_memory", "0-3\n"}, {"has_normal_memory", "0\n"}},
     true,
     {0, 1},
     {Item("0-3\n"), Item("2-3\n"), Managed(0), Managed(1)}},
    {"empty CDM list removes nothing",
     {{"is_cdm_node", "\n"}, {"has_memory", "0-1\n"}},
     true,
     {0, 1},
     {Item("0-1\n"), Item("\n"), ItemFailure("\n", "stoi"), Managed(0), Managed(1)}},
    {"unopenable CDM list fails and keeps the set",
     {{"is_cdm_node", DIRECTORY}, {"has_memory", "0\n"}},
     false,
     {7},
     {Item("0\n"), CannotOpen("is_cdm_node")}},
    {"missing has_memory still reads the CDM list", {{"is_cdm_node", "1\n"}}, true, {}, {CannotOpen("has_memory"), Item("1\n")}},
    {"missing has_normal_memory finds no node", {}, true, {}, {CannotOpen("has_normal_memory")}},
    {"CDM ids outside the set are ignored",
     {{"is_cdm_node", "5\n"}, {"has_memory", "0\n"}},
     true,
     {0},
     {Item("0\n"), Item("5\n"), Managed(0)}},
    {"CDM read failure keeps the removals made",
     {{"is_cdm_node", "1," + OVERLONG}, {"has_memory", "0-2\n"}},
     true,
     {0, 2},
     {Item("0-2\n"), Item("1"), CdmFailure(OVERLONG_DETAIL), Managed(0), Managed(2)}},
    {"managed nodes are logged smallest first",
     {{"has_normal_memory", "3,1,2\n"}},
     true,
     {1, 2, 3},
     {Item("3"), Item("1"), Item("2\n"), Managed(1), Managed(2), Managed(3)}},
    {"dangling CDM link counts as absent",
     {{"is_cdm_node", DANGLING_LINK}, {"has_memory", "0-1\n"}, {"has_normal_memory", "1\n"}},
     true,
     {1},
     {Item("1\n"), Managed(1)}},
};

class DiscoveryTest : public TopologyTest, public testing::WithParamInterface<DiscoveryRow> {};

TEST_P(DiscoveryTest, FindsTheNodesTheOsManages)
{
    const DiscoveryRow& row = GetParam();
    Create(row.files);
    NumaNodeSet nodes{7};
    EXPECT_EQ(ProcMgr::GetOsManagedNumaNodes(nodes, tree.Dir()), row.result);
    EXPECT_EQ(nodes, row.nodes);
    EXPECT_EQ(MemoryTest::LoggedLines(), MemoryTest::WithDir(row.logs, tree.Dir()));
}

INSTANTIATE_TEST_SUITE_P(Rows, DiscoveryTest, testing::ValuesIn(DISCOVERY_ROWS), MemoryTest::RowNamer());

}  // namespace
