#include <gtest/gtest.h>

#include <climits>
#include <ostream>
#include <string>
#include <vector>

#include "procmgr_common/procmgr_common.h"

namespace {

struct NameTable {
    const char* function;
    std::string (*lookup)(unsigned long);
    std::vector<std::string> names;  // the name of key i at position i; "" where there is none
};

// Written out by hand, not taken from the library, so a wrong or reordered entry shows.
const std::vector<NameTable>& Tables()
{
    static const std::vector<NameTable> tables = {
        {"GetReportAppStateTypeStr", ProcMgr::GetReportAppStateTypeStr,
         {"RUNNING_NORMAL_START", "RUNNING_NORMAL_RESTART", "RUNNING_ABNORMAL_TERM_TIMEOUT",
          "TERMINATED_NORMAL_EXIT", "TERMINATED_ABNORMAL_EXIT", "INVALID_INTERMEDIATE_STATE"}},
        {"GetProcessStateStr", ProcMgr::GetProcessStateStr,
         {"INITSTATE", "STARTING", "RUNNING", "TERMINATING", "TERMINATED", "RESTARTING"}},
        {"GetBaseServiceStateTypeStr", ProcMgr::GetBaseServiceStateTypeStr,
         {"INIT", "RESTARTING", "RUNNING", "TERMINATING"}},
        {"GetAppExecStateStr", ProcMgr::GetAppExecStateStr, {"RUNNING", "TERMINATED"}},
        {"GetOptionType", ProcMgr::GetOptionType, {"START", "TERM", "RESTART"}},
        {"GetGroupOwner", ProcMgr::GetGroupOwner, {"DATAMASTER", "IAM", "APPMGR"}},
        {"GetAppState", ProcMgr::GetAppState,
         {"SUCCESS", "TERM_FAILED", "START_FAILED", "RESTART_FAILED", "INIT", "PROCESSING",
          "START_FAILED_BY_EIO"}},
        {"GetSysState", ProcMgr::GetSysState, {"OFF", "WORKING", "SUSPEND", "UPGRADE", "CALIBRATION"}},
    };
    return tables;
}

void PrintTo(const NameTable& table, std::ostream* out)
{
    *out << table.function;
}

class NameTableTest : public testing::TestWithParam<NameTable> {};

TEST_P(NameTableTest, EveryKeyYieldsItsName)
{
    const NameTable& table = GetParam();
    for (unsigned long key = 0; key < table.names.size(); ++key) {
        EXPECT_EQ(table.lookup(key), table.names[key]) << table.function << "(" << key << ")";
    }
}

TEST_P(NameTableTest, KeysWithoutEntryYieldEmptyString)
{
    const NameTable& table = GetParam();
    const unsigned long pastEnd = table.names.size();
    const struct {
        const char* guards;
        unsigned long key;
    } rows[] = {
        {"first key past the table", pastEnd},
        {"second key past the table", pastEnd + 1},
        {"key that wraps to 0 in 32 bits", 1UL << 32},
        {"key that wraps to 1 in 32 bits", (1UL << 32) + 1},
        {"key negative as a signed long", static_cast<unsigned long>(LONG_MAX) + 1},
        {"-1 passed as unsigned long", static_cast<unsigned long>(-1L)},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(table.lookup(row.key), "") << table.function << ": " << row.guards;
    }
}

TEST_P(NameTableTest, CallerChangingResultLeavesTableIntact)
{
    const NameTable& table = GetParam();
    std::string name = table.lookup(0);
    name[0] = 'x';
    name += "_CHANGED";
    EXPECT_EQ(table.lookup(0), table.names[0]) << table.function;
}

INSTANTIATE_TEST_SUITE_P(AllTables, NameTableTest, testing::ValuesIn(Tables()),
                         [](const testing::TestParamInfo<NameTable>& row) { return row.param.function; });

TEST(IsStrDigitsTest, AcceptsOnlyDecimalDigits)
{
    const struct {
        const char* guards;
        std::string text;
        bool expected;
    } rows[] = {
        {"empty string", "", true},
        {"all ten digits", "0123456789", true},
        {"single zero", "0", true},
        {"longer than any integer type", std::string(400, '9'), true},
        {"leading plus", "+123", false},
        {"leading minus", "-123", false},
        {"leading blank", " 123", false},
        {"trailing blank", "123 ", false},
        {"trailing newline", "123\n", false},
        {"decimal point", "12.3", false},
        {"trailing letter", "123a", false},
        {"hex prefix", "0x1F", false},
        {"embedded zero byte", std::string("12\0" "34", 5), false},
        {"only a zero byte", std::string(1, '\0'), false},
        {"char just below '0'", "/", false},
        {"char just above '9'", ":", false},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(ProcMgr::IsStrDigits(row.text), row.expected) << row.guards;
    }
}

TEST(IsStrDigitsTest, RejectsEveryHighByte)
{
    for (int byte = 0x80; byte <= 0xFF; ++byte) {
        const std::string text = std::string("12") + static_cast<char>(byte) + "34";
        EXPECT_FALSE(ProcMgr::IsStrDigits(text)) << "byte 0x" << std::hex << byte;
        EXPECT_FALSE(ProcMgr::IsStrDigits(std::string(1, static_cast<char>(byte)))) << "byte 0x" << std::hex << byte;
    }
}

}  // namespace
