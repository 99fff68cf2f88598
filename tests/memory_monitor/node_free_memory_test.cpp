#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "memory_monitor/meminfo_line.h"
#include "memory_monitor/memory_monitor.h"
#include "tests/fakes/fakes.h"
#include "tests/memory_monitor/memory_test_support.h"

namespace {

using namespace std::string_literals;
using MemoryTest::LogLine;
using ProcMgr::MemFreeLine;

constexpr uint64_t ALL_ONES = 18446744073709551615ULL;

struct LineRow {
    const char* guards;
    std::string line;
    MemFreeLine kind;
    uint64_t freeKb;  // for VALUE rows
};

const LineRow LINE_ROWS[] = {
    {"kernel line", "Node 0 MemFree:        512 kB", MemFreeLine::VALUE, 512},
    {"other key", "Node 0 MemTotal:   512 kB", MemFreeLine::NOT_MEM_FREE, 0},
    {"key is case sensitive", "Node 0 memfree:   512 kB", MemFreeLine::NOT_MEM_FREE, 0},
    {"key without unit", "Node 0 MemFree:   512", MemFreeLine::NOT_MEM_FREE, 0},
    {"unit is case sensitive", "Node 0 MemFree:   512 KB", MemFreeLine::NOT_MEM_FREE, 0},
    {"unit right at the key end", "MemFree:kB", MemFreeLine::INVALID, 0},
    {"unit searched from the line start", "kB MemFree: 5 kB", MemFreeLine::INVALID, 0},
    {"no blank needed", "MemFree:7kB", MemFreeLine::VALUE, 7},
    {"blanks only before the unit", "Node 0 MemFree:        kB", MemFreeLine::BAD_NUMBER, 0},
    {"digits stop at other text", "MemFree: 12abc kB", MemFreeLine::VALUE, 12},
    {"minus one wraps to all ones", "MemFree: -1 kB", MemFreeLine::VALUE, ALL_ONES},
    {"beyond 64 bits", "MemFree: 18446744073709551616 kB", MemFreeLine::BAD_NUMBER, 0},
    {"carriage return after the unit", "MemFree: 9 kB\r", MemFreeLine::VALUE, 9},
    {"NUL inside the number part", "MemFree: \0 5 kB"s, MemFreeLine::BAD_NUMBER, 0},
    {"NUL before the key", "\0MemFree: 5 kB"s, MemFreeLine::VALUE, 5},
};

class MemFreeLineTest : public testing::TestWithParam<LineRow> {};

TEST_P(MemFreeLineTest, ReadsTheNumberBetweenKeyAndUnit)
{
    const LineRow& row = GetParam();
    uint64_t freeKb = 77;
    EXPECT_EQ(ProcMgr::ParseMemFreeLine(row.line, freeKb), row.kind);
    EXPECT_EQ(freeKb, row.kind == MemFreeLine::VALUE ? row.freeKb : 77);
}

INSTANTIATE_TEST_SUITE_P(Rows, MemFreeLineTest, testing::ValuesIn(LINE_ROWS), MemoryTest::RowNamer());

LogLine Success(int32_t node, uint64_t freeKb)
{
    return {MemoryTest::MODULE, MemoryTest::INFO,
            "Get numa node free memory Success. (node=" + std::to_string(node) + ",freeSize=" +
                std::to_string(freeKb) + "KB)"};
}
LogLine NotFound(int32_t node)
{
    return {MemoryTest::MODULE, MemoryTest::ERROR,
            "Get numa node free memory, not find free size item. (file={dir}/node" + std::to_string(node) +
                "/meminfo)"};
}
LogLine ReadFailure(int32_t node, const std::string& detail)
{
    return {MemoryTest::MODULE, MemoryTest::ERROR,
            "Get numa node free memory, exception is throwed. (file={dir}/node" + std::to_string(node) +
                "/meminfo,detail=" + detail + ")"};
}
LogLine Invalid(const std::string& line)
{
    return {MemoryTest::MODULE, MemoryTest::ERROR, "Get numa node free memory, line invalid. (line=" + line + ")"};
}

const std::string KERNEL_MEMINFO =
    "Node 0 MemTotal:       65536000 kB\n"
    "Node 0 MemFree:        512 kB\n"
    "Node 0 MemUsed:        65535488 kB\n"
    "Node 0 HugePages_Free:     0\n";

struct MeminfoRow {
    const char* guards;
    std::string content;  // of node<nodeId>/meminfo, or a SysfsTree::Place marker
    int32_t nodeId;
    bool result;
    uint64_t freeKb;
    std::vector<LogLine> logs;
};

const MeminfoRow MEMINFO_ROWS[] = {
    {"kernel meminfo", KERNEL_MEMINFO, 0, true, 512, {Success(0, 512)}},
    {"negative node id names its directory", "MemFree: 3 kB\n", -1, true, 3, {Success(-1, 3)}},
    {"empty file", "", 0, false, 0, {NotFound(0)}},
    {"no MemFree line", "Node 0 MemTotal: 5 kB\n", 0, false, 0, {NotFound(0)}},
    {"MemFree line without unit is passed over", "Node 0 MemFree: 5\n", 0, false, 0, {NotFound(0)}},
    {"no digits fail the read", "Node 0 MemFree:        kB\n", 0, false, 0, {ReadFailure(0, "stoul")}},
    {"last MemFree line wins", "MemFree: 5 kB\nMemFree: 6 kB\n", 0, true, 6, {Success(0, 6)}},
    {"invalid line logged, reading goes on", "kB MemFree: 1\nMemFree: 6 kB\n", 0, true, 6,
     {Invalid("kB MemFree: 1"), Success(0, 6)}},
    {"invalid line alone", "MemFree:kB\n", 0, false, 0, {Invalid("MemFree:kB"), NotFound(0)}},
    {"invalid line printed up to NUL", "kB\0 MemFree: 3\n"s, 0, false, 0, {Invalid("kB"), NotFound(0)}},
    {"minus one means no value", "MemFree: 5 kB\nMemFree: -1 kB\n", 0, false, 0, {NotFound(0)}},
    {"bad number after a value fails", "MemFree: 5 kB\nMemFree: x kB\nMemFree: 6 kB\n", 0, false, 0,
     {ReadFailure(0, "stoul")}},
    {"no final line break", "MemFree: 8 kB", 0, true, 8, {Success(0, 8)}},
    {"CRLF lines", "MemTotal: 9 kB\r\nMemFree: 8 kB\r\n", 0, true, 8, {Success(0, 8)}},
    {"overlong line fails the read", "MemFree: 8 kB\n" + std::string(70000, 'x') + "\n", 0, false, 0,
     {ReadFailure(0, "record longer than 65536 bytes")}},
    {"missing node", MemoryTest::MISSING, 3, false, 0, {MemoryTest::CannotOpen("node3/meminfo")}},
    {"directory instead of meminfo", MemoryTest::DIRECTORY, 0, false, 0, {MemoryTest::CannotOpen("node0/meminfo")}},
};

class MeminfoTest : public testing::TestWithParam<MeminfoRow> {
protected:
    void SetUp() override { Fakes::ResetAll(); }
    MemoryTest::SysfsTree tree;
};

TEST_P(MeminfoTest, ReadsTheNodesFreeMemory)
{
    const MeminfoRow& row = GetParam();
    tree.Place("node" + std::to_string(row.nodeId) + "/meminfo", row.content);
    uint64_t freeKb = 77;
    EXPECT_EQ(ProcMgr::GetNumaNodeFreeMemory(row.nodeId, freeKb, tree.Dir()), row.result);
    EXPECT_EQ(freeKb, row.result ? row.freeKb : 77) << "the output is written only on success";
    EXPECT_EQ(MemoryTest::LoggedLines(), MemoryTest::WithDir(row.logs, tree.Dir()));
}

INSTANTIATE_TEST_SUITE_P(Rows, MeminfoTest, testing::ValuesIn(MEMINFO_ROWS), MemoryTest::RowNamer());

}  // namespace
