#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <string>

#include "platform/sim/sim_ezcom.h"
#include "platform/sim/sim_group_owner.h"
#include "platform/sim/sim_hal.h"
#include "platform/sim/sim_log.h"
#include "platform/sim/sim_settings.h"
#include "tests/platform_sim/sim_test_support.h"

namespace ProcMgr::Sim {
namespace {

using SimTest::operator<<;  // NOLINT(misc-unused-using-decls): gtest prints rows with it

constexpr const char* VARIABLE = "PLATFORM_SIM_HAL_DEVICES";

struct ReadIntegerCase {
    const char* guards;
    std::optional<std::string> value;  // nullopt: unset
    int64_t expected;
    bool reported;
};

class ReadIntegerTest : public ::testing::TestWithParam<ReadIntegerCase> {};

TEST_P(ReadIntegerTest, UsesValueOrReportsAndFallsBack)
{
    const ReadIntegerCase& row = GetParam();
    std::map<std::string, std::string> table;
    if (row.value) {
        table[VARIABLE] = *row.value;
    }
    SimTest::Reports reports;
    const int64_t value = ReadInteger(SimTest::TableEnvironment(table), VARIABLE, 1, {0, 128}, reports.Reporter());
    EXPECT_EQ(value, row.expected);
    const std::vector<std::string> messages = reports.Messages();
    ASSERT_EQ(messages.size(), row.reported ? 1U : 0U);
    if (row.reported) {
        EXPECT_NE(messages[0].find(VARIABLE), std::string::npos) << messages[0];
        EXPECT_NE(messages[0].find("'" + *row.value + "'"), std::string::npos) << messages[0];
        EXPECT_NE(messages[0].find("using 1"), std::string::npos) << messages[0];
    }
}

INSTANTIATE_TEST_SUITE_P(Table, ReadIntegerTest,
                         ::testing::Values(ReadIntegerCase{"unset gives default", std::nullopt, 1, false},
                                           ReadIntegerCase{"empty counts as unset", "", 1, false},
                                           ReadIntegerCase{"good decimal", "4", 4, false},
                                           ReadIntegerCase{"good hex", "0x10", 16, false},
                                           ReadIntegerCase{"zero is a value", "0", 0, false},
                                           ReadIntegerCase{"letters", "abc", 1, true},
                                           ReadIntegerCase{"trailing junk", "4x", 1, true},
                                           ReadIntegerCase{"out of range high", "129", 1, true},
                                           ReadIntegerCase{"out of range low", "-1", 1, true},
                                           ReadIntegerCase{"blank inside", "1 2", 1, true}),
                         SimTest::RowName<ReadIntegerCase>);

// Every stand-in loads its variables once; each malformed one must be reported exactly once and
// leave that stand-in at its default, while good neighbours still take effect.
TEST(StandInSettings, MalformedValuesReportedOnceEachAndDefaulted)
{
    SimTest::Reports reports;
    const EnvLookup env = SimTest::TableEnvironment({
        {"PLATFORM_SIM_LOG_LEVEL", "9"},
        {"PLATFORM_SIM_RUNLOG", "0"},
        {"PLATFORM_SIM_HAL_DEVICES", "abc"},
        {"PLATFORM_SIM_HAL_DEVNUM_RET", "-5"},
        {"PLATFORM_SIM_HAL_FAIL", "register@x"},
        {"PLATFORM_SIM_EZCOM_BUSY", "3junk"},
        {"PLATFORM_SIM_GRP_CONFIGURE_RET", "2"},
        {"PLATFORM_SIM_GRP_START_RET", "0x100000000"},
        {"PLATFORM_SIM_GRP_SCRIPT", "/some/ctl"},
    });
    const LogSettings log = LoadLogSettings(env, reports.Reporter());
    const HalSettings hal = LoadHalSettings(env, reports.Reporter());
    const int64_t busy = LoadEzcomBusyCalls(env, reports.Reporter());
    const GroupOwnerSettings grp = LoadGroupOwnerSettings(env, reports.Reporter());

    EXPECT_EQ(log.threshold, 1);
    EXPECT_FALSE(log.runLog);
    EXPECT_EQ(hal.devices, 1U);
    EXPECT_EQ(hal.devNumResult, -5);
    EXPECT_EQ(hal.failures.Size(), 0U);
    EXPECT_EQ(busy, 0);
    EXPECT_EQ(grp.configureResult, 2);
    EXPECT_EQ(grp.startResult, 0);
    EXPECT_EQ(grp.scriptPath, "/some/ctl");

    const std::vector<std::string> messages = reports.Messages();
    ASSERT_EQ(messages.size(), 5U);
    const char* malformed[] = {"PLATFORM_SIM_LOG_LEVEL='9'", "PLATFORM_SIM_HAL_DEVICES='abc'",
                               "PLATFORM_SIM_HAL_FAIL='register@x'", "PLATFORM_SIM_EZCOM_BUSY='3junk'",
                               "PLATFORM_SIM_GRP_START_RET='0x100000000'"};
    for (size_t i = 0; i < messages.size(); ++i) {
        EXPECT_EQ(messages[i].rfind(malformed[i], 0), 0U) << messages[i];
    }
}

TEST(StandInSettings, NothingSetGivesTheDefaultsSilently)
{
    SimTest::Reports reports;
    const EnvLookup env = SimTest::TableEnvironment({});
    const LogSettings log = LoadLogSettings(env, reports.Reporter());
    const HalSettings hal = LoadHalSettings(env, reports.Reporter());
    const GroupOwnerSettings grp = LoadGroupOwnerSettings(env, reports.Reporter());
    EXPECT_EQ(log.threshold, 1);
    EXPECT_TRUE(log.runLog);
    EXPECT_EQ(hal.devices, 1U);
    EXPECT_EQ(hal.devNumResult, 0);
    EXPECT_EQ(LoadEzcomBusyCalls(env, reports.Reporter()), 0);
    EXPECT_TRUE(grp.scriptPath.empty());
    EXPECT_TRUE(reports.Messages().empty());
}

}  // namespace
}  // namespace ProcMgr::Sim
