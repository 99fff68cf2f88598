#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "memory_monitor/memory_monitor.h"
#include "tests/fakes/fakes.h"
#include "tests/memory_monitor/memory_test_support.h"

namespace {

using namespace std::string_literals;
using MemoryTest::LogLine;

struct ItemRow {
    const char* guards;
    std::string item;
    std::vector<int32_t> ids;
    const char* failure;  // the detail of the failure record, nullptr when none is expected
};

std::vector<int32_t> Range(int32_t lower, int32_t upper)
{
    std::vector<int32_t> ids;
    for (int64_t id = lower; id <= upper; ++id) {
        ids.push_back(static_cast<int32_t>(id));
    }
    return ids;
}

const ItemRow ITEM_ROWS[] = {
    {"empty item is silent", "", {}, nullptr},
    {"single id with the file's line break", "0\n", {0}, nullptr},
    {"range expands in increasing order", "0-3", {0, 1, 2, 3}, nullptr},
    {"leading dash skipped silently", "-1", {}, nullptr},
    {"trailing dash skipped silently", "3-", {}, nullptr},
    {"dash before the line break is not last", "3-\n", {}, "stoi"},
    {"reversed range skipped silently", "5-3", {}, nullptr},
    {"upper bound stops at the second dash", "1-2-3", {1, 2}, nullptr},
    {"negative upper bound reverses the range", "1--2", {}, nullptr},
    {"leading blank", " 1", {1}, nullptr},
    {"one past int32", "2147483648", {}, "stoi"},
    {"largest int32", "2147483647", {2147483647}, nullptr},
    {"range ending at int32 max stops", "2147483646-2147483647", {2147483646, 2147483647}, nullptr},
    {"widest range allowed", "0-4095", Range(0, 4095), nullptr},
    {"one id too wide", "0-4096", {}, "range wider than 4096 ids"},
    {"range to int32 max is bounded", "0-2147483647", {}, "range wider than 4096 ids"},
    {"negative lower bound reads as a leading dash", "-2147483648-2147483647", {}, nullptr},
    {"blank lower bound", " -2", {}, "stoi"},
    {"letters in the upper bound", "1-x", {}, "stoi"},
    {"line break only", "\n", {}, "stoi"},
    {"CRLF after the id", "4\r\n", {4}, nullptr},
    {"CRLF after a range", "1-2\r\n", {1, 2}, nullptr},
    {"NUL before the id", "\0"s "7", {}, "stoi"},
    {"NUL after the id", "7\0"s "9", {7}, nullptr},
    {"huge number", std::string(300, '9'), {}, "stoi"},
    {"huge upper bound", "0-" + std::string(300, '9'), {}, "stoi"},
};

class NodeListItemTest : public testing::TestWithParam<ItemRow> {
protected:
    void SetUp() override { Fakes::ResetAll(); }
};

TEST_P(NodeListItemTest, YieldsIdsAndLogsTheItem)
{
    const ItemRow& row = GetParam();
    EXPECT_EQ(ProcMgr::GetNumaNodeList(row.item), row.ids);

    // %s prints the item up to a NUL byte.
    const std::string printed = row.item.c_str();
    std::vector<LogLine> expected;
    if (!row.item.empty()) {
        expected.push_back({MemoryTest::MODULE, MemoryTest::INFO, "Get numa node " + printed + "."});
    }
    if (row.failure != nullptr) {
        expected.push_back({MemoryTest::RUNLOG_MODULE, MemoryTest::INFO,
                            "Get numa node list, exception is throwed. (str=" + printed + ",detail=" + row.failure +
                                ")"});
    }
    EXPECT_EQ(MemoryTest::LoggedLines(), expected);
}

INSTANTIATE_TEST_SUITE_P(Rows, NodeListItemTest, testing::ValuesIn(ITEM_ROWS), MemoryTest::RowNamer());

}  // namespace
