#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "platform/easy_comm.h"
#include "platform/sim/script_line.h"
#include "platform/sim/sim_ezcom.h"
#include "platform/sim/sim_group_owner.h"
#include "platform/sim/sim_hal.h"
#include "platform/sim/sim_log.h"
#include "tests/platform_sim/sim_test_support.h"

namespace ProcMgr::Sim {
namespace {

using namespace std::string_literals;

TEST(SimText, RecordsStayOneBoundedLine)
{
    const std::pair<std::string, std::string> rows[] = {
        {"os-memory", "os-memory"}, {"camera\n", "camera\\n"}, {"a\tb\rc", "a\\tb\\rc"}, {"a\0b"s, "a\\x00b"},
        {"\x01\x1f", "\\x01\\x1f"}, {"x\x7f", "x\\x7f"},       {"a\\nb", "a\\\\nb"},     {" ~\xc3\xa9", " ~\xc3\xa9"}};
    for (const auto& [input, expected] : rows) {
        EXPECT_EQ(EscapeControl(input), expected);
    }
    const std::string huge(MAX_FORMATTED_BYTES * 2, 'x');
    EXPECT_EQ(Format("%s", huge.c_str()).size(), MAX_FORMATTED_BYTES);
}

TEST(SimText, ParsesOnlyWholeCStyleIntegersInRange)
{
    constexpr IntegerRange ANY{INT64_MIN, INT64_MAX};
    // clang-format off
    const struct { const char* text = nullptr; IntegerRange range{}; std::optional<int64_t> expected; } rows[] = {
        {"42", ANY, 42}, {"+7", ANY, 7}, {"0x1f", ANY, 31}, {"0XFF", ANY, 255}, {"-0x10", ANY, -16},
        {"010", ANY, 10}, {"255", {0, 255}, 255}, {"256", {0, 255}, {}}, {"-1", {0, 255}, {}}, {"12abc", ANY, {}},
        {"-9223372036854775808", ANY, INT64_MIN}, {"9223372036854775808", ANY, {}}, {" 12", ANY, {}},
        {"", ANY, {}}, {"-", ANY, {}}, {"0x", ANY, {}}, {"--1", ANY, {}}, {"0x-1", ANY, {}}};
    // clang-format on
    for (const auto& row : rows) {
        EXPECT_EQ(ParseInteger(row.text, row.range), row.expected) << row.text;
    }
}

// An empty value counts as unset, and good values next to malformed ones still take effect.
TEST(SimSettings, MalformedValuesReportedOnceEachAndDefaulted)
{
    const std::map<std::string, std::string> table = {
        {"PLATFORM_SIM_LOG_LEVEL", "9"},         {"PLATFORM_SIM_RUNLOG", "0"},
        {"PLATFORM_SIM_HAL_DEVICES", "a\nb"},    {"PLATFORM_SIM_HAL_DEVNUM_RET", "-0x5"},
        {"PLATFORM_SIM_HAL_FAIL", "register@x"}, {"PLATFORM_SIM_EZCOM_BUSY", "3junk"},
        {"PLATFORM_SIM_GRP_CONFIGURE_RET", ""},  {"PLATFORM_SIM_GRP_START_RET", "0x100000000"},
        {"PLATFORM_SIM_GRP_SCRIPT", "/ctl"}};
    const EnvLookup env = [&table](const char* name) {
        const auto found = table.find(name);
        return found == table.end() ? nullptr : found->second.c_str();
    };
    std::vector<std::string> reports;
    const Reporter report = [&reports](const std::string& message) { reports.push_back(message); };
    const LogSettings log = LoadLogSettings(env, report);
    const HalSettings hal = LoadHalSettings(env, report);
    EXPECT_EQ(LoadEzcomBusyCalls(env, report), 0);
    const GroupOwnerSettings grp = LoadGroupOwnerSettings(env, report);
    EXPECT_EQ(std::make_pair(log.threshold, log.runLog), std::make_pair(1, false));
    EXPECT_EQ(std::make_tuple(hal.devices, hal.devNumResult, hal.failures.Size()), std::make_tuple(1U, -5, size_t{0}));
    EXPECT_EQ(std::make_tuple(grp.configureResult, grp.startResult, grp.scriptPath), std::make_tuple(0, 0, "/ctl"s));
    const std::string int32Range = "an integer in -2147483648..2147483647; using 0";
    const std::string failList = "a comma list of register@D, update@D, unregister@D; using no failures";
    EXPECT_EQ(reports,
              (std::vector<std::string>{"PLATFORM_SIM_LOG_LEVEL='9' is not an integer in 0..4; using 1",
                                        "PLATFORM_SIM_HAL_DEVICES='a\\nb' is not an integer in 0..4294967295; using 1",
                                        "PLATFORM_SIM_HAL_FAIL='register@x' is not " + failList,
                                        "PLATFORM_SIM_EZCOM_BUSY='3junk' is not " + int32Range,
                                        "PLATFORM_SIM_GRP_START_RET='0x100000000' is not " + int32Range}));
}

TEST(SimHal, FailureListIsReadWholeOrRejected)
{
    using Entries = std::vector<std::pair<HalCall, uint32_t>>;
    constexpr HalCall REG = HalCall::REGISTER;
    constexpr HalCall UPD = HalCall::UPDATE;
    constexpr HalCall UNREG = HalCall::UNREGISTER;
    // clang-format off
    const std::pair<const char*, std::optional<Entries>> rows[] = {
        {"", Entries{}}, {"  ", Entries{}},
        {"register@0,update@2,unregister@3", Entries{{REG, 0}, {UPD, 2}, {UNREG, 3}}},
        {" update@1 , update@0x10 ", Entries{{UPD, 1}, {UPD, 16}}},
        {"register@4294967295", Entries{{REG, 4294967295U}}},
        {"register@4294967296", {}}, {"register@-1", {}}, {"Register@0", {}}, {"register@", {}}, {"register0", {}},
        {"register@0,", {}}, {"register@0,,update@1", {}}, {"register@0,bogus", {}}};
    // clang-format on
    for (const auto& [text, expected] : rows) {
        const std::optional<HalFailures> parsed = ParseHalFailures(text);
        ASSERT_EQ(parsed.has_value(), expected.has_value()) << text;
        for (const auto& [call, device] : expected.value_or(Entries{})) {
            EXPECT_TRUE(parsed->Fails(call, device)) << text;
        }
        EXPECT_EQ(parsed ? parsed->Size() : 0, expected ? expected->size() : 0) << text;
    }
}

TEST(SimHal, InjectsFailuresPerCallAndDeviceAndHandsOutHandlesInOrder)
{
    SimTest::Scratch scratch;
    SimHal hal({200, -3, *ParseHalFailures("register@1,update@1,unregister@0")}, scratch.Sink("journal"));
    HalSensorNodeConfig full{{}, 0x0617, 0xD0, {}};  // a name of 20 bytes without a terminating zero
    std::memset(full.name, 'n', sizeof full.name);
    HalSensorNodeConfig cam{"cam\n", 0x27, 0x27, {}};
    uint32_t count = 0;
    uint64_t handles[3] = {9, 9, 9};
    // clang-format off
    const std::vector<int> results = {hal.GetDevNum(&count), hal.GetDevNum(nullptr),
        hal.Register(0, &full, &handles[0]), hal.Register(1, &full, &handles[1]), hal.Register(2, &cam, &handles[2]),
        hal.Update(1, 6, 0, 1), hal.Unregister(0, 5)};
    // clang-format on
    EXPECT_EQ(results, (std::vector<int>{-3, HAL_INVALID_ARGUMENT, 0, 7, 0, 7, 7}));
    EXPECT_EQ(count, 200U);
    EXPECT_EQ(std::vector<uint64_t>(handles, handles + 3), (std::vector<uint64_t>{1, 9, 2}));
    const std::string nodes = " name=nnnnnnnnnnnnnnnnnnnn nodeType=0x0617 sensorType=0xd0 ret=";
    EXPECT_EQ(scratch.Lines("journal"),
              (std::vector<std::string>{
                  "hal devnum ret=-3 count=200", "hal devnum ret=22 count=200",
                  "hal register dev=0" + nodes + "0 handle=1", "hal register dev=1" + nodes + "7 handle=0",
                  "hal register dev=2 name=cam\\n nodeType=0x0027 sensorType=0x27 ret=0 handle=2",
                  "hal update dev=1 handle=6 fault=0 event=1 ret=7", "hal unregister dev=0 handle=5 ret=7"}));
}

TEST(SimEzcom, CountsBusyCallsPerFunction)
{
    constexpr int BUSY = EZCOM_TRANSIENT_BUSY;
    using C = EzcomCall;
    const struct {
        int64_t busyCalls;
        std::vector<EzcomCall> calls;
        std::vector<int> answers;
    } rows[] = {
        {0, {C::SEND_REQUEST, C::CLOSE_PIPE}, {0, 0}},
        {2, {C::SEND_RESPONSE, C::SEND_RESPONSE, C::SEND_RESPONSE}, {BUSY, BUSY, 0}},
        {1, {C::SEND_REQUEST, C::RPC_SYNC, C::TIMED_RPC_SYNC, C::SEND_REQUEST, C::RPC_SYNC}, {BUSY, BUSY, BUSY, 0, 0}},
        {1, {C::CLOSE_PIPE, C::CLOSE_PIPE}, {EZCOM_CLOSE_PIPE_BUSY, 0}},
        {-1, {C::TIMED_RPC_SYNC, C::TIMED_RPC_SYNC, C::TIMED_RPC_SYNC}, {BUSY, BUSY, BUSY}}};
    SimTest::Scratch scratch;
    for (const auto& row : rows) {
        SimEzcom ezcom(row.busyCalls, scratch.Sink("table"));
        std::vector<int> answers;
        for (const EzcomCall call : row.calls) {
            answers.push_back(call == C::TIMED_RPC_SYNC ? ezcom.TimedRpc(2, 500) : ezcom.Call(call, 1));
        }
        EXPECT_EQ(answers, row.answers) << "row " << &row - rows;
    }
}

struct Describe {
    auto operator()(NoOp /*line*/) { return "noop"s; }
    auto operator()(const AppDeclaration& a)
    {
        return Format("app %s %u %d", a.name.c_str(), a.nodeType, a.reportScope);
    }
    auto operator()(const RestartResult& r) { return Format("restart-ret %s %d", r.name.c_str(), r.result); }
    auto operator()(Pause p) { return Format("sleep %lldns", static_cast<long long>(p.duration.count())); }
    auto operator()(const StateChange& s)
    {
        return Format("state %s %d %d", EscapeControl(s.name).c_str(), s.pid, s.state);
    }
    auto operator()(ParallelStart p) { return Format("parallel %u", p.threads); }
    auto operator()(ParallelJoin /*line*/) { return "join"s; }
    auto operator()(const MalformedLine& m) { return "malformed: " + m.reason; }
};

TEST(ScriptLine, ParsesEveryKindAndRejectsHostileLines)
{
    const std::pair<std::string, std::string> rows[] = {
        // clang-format off
        {" \t ", "noop"}, {"   # state a 1 2", "noop"},
        {"app camera 0x0607 -1", "app camera 1543 -1"}, {"app a 0xffffffff 0", "app a 4294967295 0"},
        {"app a 0x100000000 0", "malformed: bad node type '0x100000000'"},
        {"app a 1 2147483648", "malformed: bad scope '2147483648'"},
        {"app a 1", "malformed: expected 'app NAME NODETYPE SCOPE'"},
        {"restart-ret camera -0x1", "restart-ret camera -1"},
        {"restart-ret camera five", "malformed: bad result 'five'"},
        {"restart-ret camera", "malformed: expected 'restart-ret NAME RET'"},
        {"sleep 2", "sleep 2000000000ns"}, {"sleep .25", "sleep 250000000ns"}, {"sleep 0.0000000019", "sleep 1ns"},
        {"sleep -1", "malformed: bad seconds '-1'"}, {"sleep 1e3", "malformed: bad seconds '1e3'"},
        {"sleep .", "malformed: bad seconds '.'"}, {"sleep 1.2.3", "malformed: bad seconds '1.2.3'"},
        {"sleep 1000000000", "malformed: bad seconds '1000000000'"}, {"sleep", "malformed: expected 'sleep SECONDS'"},
        {"state camera 42 HEART_BEAT_LOST", "state camera 42 2"}, {"state a 1 SWITCH_ON", "state a 1 0"},
        {"state a 1 ACTIVELY_EXIT", "state a 1 5"}, {"state a 1 -7", "state a 1 -7"},
        {"state a 1 heart_beat_lost", "malformed: bad state 'heart_beat_lost'"},
        {"state a x 1", "malformed: bad pid 'x'"}, {"state a 1", "malformed: expected 'state NAME PID STATE'"},
        {"state\tcam\t7\tSWITCH_OFF\r", "state cam 7 1"}, {"state a\0b 1 1"s, "state a\\x00b 1 1"},
        {"parallel 64", "parallel 64"}, {"parallel 0", "malformed: bad thread count (1..64) '0'"},
        {"parallel 65", "malformed: bad thread count (1..64) '65'"}, {"parallel", "malformed: expected 'parallel N'"},
        {"join", "join"}, {"join now", "malformed: expected 'join'"},
        {"STATE a 1 1", "malformed: unknown command 'STATE'"},
        {"\x1b[2J", "malformed: unknown command '\\x1b[2J'"}};
    // clang-format on
    for (const auto& [text, expected] : rows) {
        EXPECT_EQ(std::visit(Describe{}, ParseScriptLine(text)), expected) << EscapeControl(text);
    }
}

}  // namespace
}  // namespace ProcMgr::Sim
