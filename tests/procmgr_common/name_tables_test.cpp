#include <climits>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "procmgr_common/procmgr_common.h"

namespace {

// Written out by hand, not taken from the library, so a wrong or reordered entry shows.
TEST(NameTablesTest, EveryKeyYieldsItsNameAndKeysPastTheTableYieldNothing)
{
    const struct {
        const char* function;
        std::string (*lookup)(unsigned long);
        std::vector<std::string> names;  // the name of key i at position i
    } tables[] = {
        {"GetReportAppStateTypeStr",
         ProcMgr::GetReportAppStateTypeStr,
         {"RUNNING_NORMAL_START", "RUNNING_NORMAL_RESTART", "RUNNING_ABNORMAL_TERM_TIMEOUT", "TERMINATED_NORMAL_EXIT",
          "TERMINATED_ABNORMAL_EXIT", "INVALID_INTERMEDIATE_STATE"}},
        {"GetProcessStateStr",
         ProcMgr::GetProcessStateStr,
         {"INITSTATE", "STARTING", "RUNNING", "TERMINATING", "TERMINATED", "RESTARTING"}},
        {"GetBaseServiceStateTypeStr",
         ProcMgr::GetBaseServiceStateTypeStr,
         {"INIT", "RESTARTING", "RUNNING", "TERMINATING"}},
        {"GetAppExecStateStr", ProcMgr::GetAppExecStateStr, {"RUNNING", "TERMINATED"}},
        {"GetOptionType", ProcMgr::GetOptionType, {"START", "TERM", "RESTART"}},
        {"GetGroupOwner", ProcMgr::GetGroupOwner, {"DATAMASTER", "IAM", "APPMGR"}},
        {"GetAppState",
         ProcMgr::GetAppState,
         {"SUCCESS", "TERM_FAILED", "START_FAILED", "RESTART_FAILED", "INIT", "PROCESSING", "START_FAILED_BY_EIO"}},
        {"GetSysState", ProcMgr::GetSysState, {"OFF", "WORKING", "SUSPEND", "UPGRADE", "CALIBRATION"}},
    };
    for (const auto& table : tables) {
        SCOPED_TRACE(table.function);
        for (unsigned long key = 0; key < table.names.size(); ++key) {
            EXPECT_EQ(table.lookup(key), table.names[key]) << "key " << key;
        }
        // The first key past the table, one that a 32-bit key would wrap to 0, and -1.
        for (const unsigned long key : {table.names.size(), 1UL << 32, static_cast<unsigned long>(-1L)}) {
            EXPECT_EQ(table.lookup(key), "") << "key " << key;
        }
    }
}

TEST(IsStrDigitsTest, AcceptsOnlyDecimalDigits)
{
    const struct {
        const char* guards;
        std::string text;
        bool expected;
    } rows[] = {
        {"empty string", "", true},
        {"all ten digits, longer than any integer type", std::string(400, '9') + "0123456789", true},
        {"leading plus", "+123", false},
        {"leading minus", "-123", false},
        {"leading blank", " 123", false},
        {"decimal point", "12.3", false},
        {"hex digits", "0x1F", false},
        {"embedded zero byte",
         std::string("12\0"
                     "34",
                     5),
         false},
        {"just below '0'", "/", false},
        {"just above '9'", ":", false},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(ProcMgr::IsStrDigits(row.text), row.expected) << row.guards;
    }
    for (int byte = 0x80; byte <= 0xFF; ++byte) {
        EXPECT_FALSE(ProcMgr::IsStrDigits("12" + std::string(1, static_cast<char>(byte)))) << "byte " << byte;
    }
}

}  // namespace
