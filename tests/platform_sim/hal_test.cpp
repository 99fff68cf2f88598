#include <cstring>
#include <gtest/gtest.h>
#include <utility>
#include <vector>

#include "platform/sim/sim_hal.h"
#include "tests/platform_sim/sim_test_support.h"

namespace ProcMgr::Sim {
namespace {

using SimTest::operator<<;  // NOLINT(misc-unused-using-decls): gtest prints rows with it

using Entry = std::pair<HalCall, uint32_t>;

struct FailureListCase {
    const char* guards;
    const char* text;
    std::optional<std::vector<Entry>> expected;  // nullopt: malformed
};

class ParseHalFailuresTest : public ::testing::TestWithParam<FailureListCase> {};

TEST_P(ParseHalFailuresTest, ReadsTheListOrRejectsItWhole)
{
    const FailureListCase& row = GetParam();
    const std::optional<HalFailures> parsed = ParseHalFailures(row.text);
    ASSERT_EQ(parsed.has_value(), row.expected.has_value());
    if (!parsed) {
        return;
    }
    EXPECT_EQ(parsed->Size(), row.expected->size());
    for (const auto& [call, device] : *row.expected) {
        EXPECT_TRUE(parsed->Fails(call, device)) << static_cast<int>(call) << "@" << device;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Table, ParseHalFailuresTest,
    ::testing::Values(
        FailureListCase{"empty list", "", std::vector<Entry>{}},
        FailureListCase{"blanks only", "  ", std::vector<Entry>{}},
        FailureListCase{"one register", "register@1", std::vector<Entry>{{HalCall::REGISTER, 1}}},
        FailureListCase{"every kind", "register@0,update@2,unregister@3",
                        std::vector<Entry>{{HalCall::REGISTER, 0}, {HalCall::UPDATE, 2}, {HalCall::UNREGISTER, 3}}},
        FailureListCase{"blanks around items", " update@1 , update@0 ",
                        std::vector<Entry>{{HalCall::UPDATE, 1}, {HalCall::UPDATE, 0}}},
        FailureListCase{"duplicates collapse", "update@1,update@1", std::vector<Entry>{{HalCall::UPDATE, 1}}},
        FailureListCase{"hex device", "unregister@0x10", std::vector<Entry>{{HalCall::UNREGISTER, 16}}},
        FailureListCase{"largest device", "register@4294967295", std::vector<Entry>{{HalCall::REGISTER, 4294967295U}}},
        FailureListCase{"device too large", "register@4294967296", std::nullopt},
        FailureListCase{"negative device", "register@-1", std::nullopt},
        FailureListCase{"unknown call", "devnum@0", std::nullopt},
        FailureListCase{"call is case sensitive", "Register@0", std::nullopt},
        FailureListCase{"missing device", "register@", std::nullopt},
        FailureListCase{"missing at", "register0", std::nullopt},
        FailureListCase{"trailing comma", "register@0,", std::nullopt},
        FailureListCase{"empty item", "register@0,,update@1", std::nullopt},
        FailureListCase{"junk after device", "update@1x", std::nullopt},
        FailureListCase{"one bad item spoils the list", "register@0,bogus", std::nullopt}),
    SimTest::RowName<FailureListCase>);

class SimHalTest : public ::testing::Test {
protected:
    SimHal MakeHal(HalSettings settings) { return {std::move(settings), journal.Sink()}; }

    static HalSensorNodeConfig Node(const char* name, uint16_t nodeType, uint8_t sensorType)
    {
        HalSensorNodeConfig config{};
        std::strncpy(config.name, name, sizeof config.name - 1);
        config.nodeType = nodeType;
        config.sensorType = sensorType;
        return config;
    }

    SimTest::TempDir dir;
    SimTest::JournalFile journal{dir.File("journal")};
};

TEST_F(SimHalTest, HandsOutHandlesInOrderToSuccessfulRegistrationsOnly)
{
    HalSettings settings;
    settings.failures.Add(HalCall::REGISTER, 1);
    SimHal hal = MakeHal(std::move(settings));
    HalSensorNodeConfig node = Node("os-memory", 0x0617, 0xD0);
    uint64_t handles[3] = {0, 0, 0};
    EXPECT_EQ(hal.Register(0, &node, &handles[0]), 0);
    EXPECT_EQ(hal.Register(1, &node, &handles[1]), HAL_INJECTED_FAILURE);
    EXPECT_EQ(hal.Register(2, &node, &handles[2]), 0);
    EXPECT_EQ(handles[0], 1U);
    EXPECT_EQ(handles[1], 0U);
    EXPECT_EQ(handles[2], 2U);
    EXPECT_EQ(journal.Lines(), (std::vector<std::string>{
                                   "hal register dev=0 name=os-memory nodeType=0x0617 sensorType=0xd0 ret=0 handle=1",
                                   "hal register dev=1 name=os-memory nodeType=0x0617 sensorType=0xd0 ret=7 handle=0",
                                   "hal register dev=2 name=os-memory nodeType=0x0617 sensorType=0xd0 ret=0 handle=2",
                               }));
}

TEST_F(SimHalTest, NameStopsAtTheFieldEndAndIsEscaped)
{
    SimHal hal = MakeHal({});
    HalSensorNodeConfig unterminated = Node("", 1, 2);
    std::memset(unterminated.name, 'n', sizeof unterminated.name);
    HalSensorNodeConfig withLineBreak = Node("cam\n", 0x27, 0x27);
    uint64_t handle = 0;
    hal.Register(0, &unterminated, &handle);
    hal.Register(0, &withLineBreak, &handle);
    EXPECT_EQ(journal.Lines(), (std::vector<std::string>{
                                   "hal register dev=0 name=nnnnnnnnnnnnnnnnnnnn nodeType=0x0001 sensorType=0x02 "
                                   "ret=0 handle=1",
                                   "hal register dev=0 name=cam\\n nodeType=0x0027 sensorType=0x27 ret=0 handle=2",
                               }));
}

TEST_F(SimHalTest, InjectedFailuresHitOnlyTheirCallAndDevice)
{
    HalSettings settings;
    settings.failures.Add(HalCall::UPDATE, 1);
    settings.failures.Add(HalCall::UNREGISTER, 0);
    SimHal hal = MakeHal(std::move(settings));
    EXPECT_EQ(hal.Update(0, 5, 1, 1), 0);
    EXPECT_EQ(hal.Update(1, 6, 0, 1), HAL_INJECTED_FAILURE);
    EXPECT_EQ(hal.Unregister(0, 5), HAL_INJECTED_FAILURE);
    EXPECT_EQ(hal.Unregister(1, 6), 0);
    EXPECT_EQ(journal.Lines(), (std::vector<std::string>{
                                   "hal update dev=0 handle=5 fault=1 event=1 ret=0",
                                   "hal update dev=1 handle=6 fault=0 event=1 ret=7",
                                   "hal unregister dev=0 handle=5 ret=7",
                                   "hal unregister dev=1 handle=6 ret=0",
                               }));
}

TEST_F(SimHalTest, DevNumWritesTheCountEvenWithAFailingResult)
{
    HalSettings settings;
    settings.devices = 200;
    settings.devNumResult = -3;
    SimHal hal = MakeHal(std::move(settings));
    uint32_t count = 0;
    EXPECT_EQ(hal.GetDevNum(&count), -3);
    EXPECT_EQ(count, 200U);
    EXPECT_EQ(hal.GetDevNum(nullptr), HAL_INVALID_ARGUMENT);
    EXPECT_EQ(journal.Lines(),
              (std::vector<std::string>{"hal devnum ret=-3 count=200", "hal devnum ret=22 count=200"}));
}

}  // namespace
}  // namespace ProcMgr::Sim
