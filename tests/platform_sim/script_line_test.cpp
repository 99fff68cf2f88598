#include <gtest/gtest.h>
#include <string>

#include "platform/sim/script_line.h"
#include "platform/sim/sim_text.h"
#include "tests/platform_sim/sim_test_support.h"

namespace ProcMgr::Sim {
namespace {

using SimTest::operator<<;  // NOLINT(misc-unused-using-decls): gtest prints rows with it

using namespace std::string_literals;

template <typename... Visitors>
struct Overloaded : Visitors... {
    using Visitors::operator()...;
};
template <typename... Visitors>
Overloaded(Visitors...) -> Overloaded<Visitors...>;

// Malformed lines are described as "malformed: REASON", every other line by all its fields.
std::string Describe(const ScriptLine& line)
{
    return std::visit(
        Overloaded{
            [](const NoOp&) { return "noop"s; },
            [](const AppDeclaration& app) {
                return Format("app %s %u %d", app.name.c_str(), app.nodeType, app.reportScope);
            },
            [](const RestartResult& restart) {
                return Format("restart-ret %s %d", restart.name.c_str(), restart.result);
            },
            [](const Pause& pause) { return Format("sleep %lldns", static_cast<long long>(pause.duration.count())); },
            [](const StateChange& change) {
                return Format("state %s %d %d", EscapeControl(change.name).c_str(), change.pid, change.state);
            },
            [](const ParallelStart& parallel) { return Format("parallel %u", parallel.threads); },
            [](const ParallelJoin&) { return "join"s; },
            [](const MalformedLine& malformed) { return "malformed: " + malformed.reason; },
        },
        line);
}

struct LineCase {
    const char* guards;
    std::string text;
    std::string expected;  // a "malformed: ..." expectation is a prefix of the description
};

class ParseScriptLineTest : public ::testing::TestWithParam<LineCase> {};

TEST_P(ParseScriptLineTest, ParsesEveryKindAndRejectsHostileLines)
{
    const std::string described = Describe(ParseScriptLine(GetParam().text));
    if (GetParam().expected.rfind("malformed", 0) == 0) {
        EXPECT_EQ(described.rfind(GetParam().expected, 0), 0U) << described;
    } else {
        EXPECT_EQ(described, GetParam().expected);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Table, ParseScriptLineTest,
    ::testing::Values(LineCase{"empty line", "", "noop"}, LineCase{"blank line", " \t ", "noop"},
                      LineCase{"comment", "# state a 1 2", "noop"}, LineCase{"indented comment", "   #x", "noop"},
                      LineCase{"app decimal", "app camera 1543 1", "app camera 1543 1"},
                      LineCase{"app hex and negative scope", "app camera 0x0607 -1", "app camera 1543 -1"},
                      LineCase{"app largest node type", "app a 0xffffffff 0", "app a 4294967295 0"},
                      LineCase{"app node type too large", "app a 0x100000000 0", "malformed: bad node type"},
                      LineCase{"app negative node type", "app a -1 0", "malformed: bad node type"},
                      LineCase{"app scope overflow", "app a 1 2147483648", "malformed: bad scope"},
                      LineCase{"app missing scope", "app a 1", "malformed: expected 'app NAME NODETYPE SCOPE'"},
                      LineCase{"app extra word", "app a 1 2 3", "malformed: expected"},
                      LineCase{"restart result", "restart-ret camera 5", "restart-ret camera 5"},
                      LineCase{"restart negative result", "restart-ret camera -0x1", "restart-ret camera -1"},
                      LineCase{"restart junk result", "restart-ret camera five", "malformed: bad result"},
                      LineCase{"sleep whole seconds", "sleep 2", "sleep 2000000000ns"},
                      LineCase{"sleep fraction", "sleep 0.5", "sleep 500000000ns"},
                      LineCase{"sleep leading dot", "sleep .25", "sleep 250000000ns"},
                      LineCase{"sleep beyond nanoseconds truncated", "sleep 0.0000000019", "sleep 1ns"},
                      LineCase{"sleep negative", "sleep -1", "malformed: bad seconds"},
                      LineCase{"sleep exponent", "sleep 1e3", "malformed: bad seconds"},
                      LineCase{"sleep dot alone", "sleep .", "malformed: bad seconds"},
                      LineCase{"sleep two dots", "sleep 1.2.3", "malformed: bad seconds"},
                      LineCase{"sleep too long", "sleep 1000000000", "malformed: bad seconds"},
                      LineCase{"sleep nan", "sleep nan", "malformed: bad seconds"},
                      LineCase{"state by name", "state camera 42 HEART_BEAT_LOST", "state camera 42 2"},
                      LineCase{"state every name", "state a 1 ACTIVELY_EXIT", "state a 1 5"},
                      LineCase{"state first name", "state a 1 SWITCH_ON", "state a 1 0"},
                      LineCase{"state number beyond names", "state a 1 6", "state a 1 6"},
                      LineCase{"state negative number", "state a 1 -1", "state a 1 -1"},
                      LineCase{"state lower case name", "state a 1 heart_beat_lost", "malformed: bad state"},
                      LineCase{"state bad pid", "state a x 1", "malformed: bad pid"},
                      LineCase{"state missing state", "state a 1", "malformed: expected 'state NAME PID STATE'"},
                      LineCase{"tabs and CRLF", "state\tcam\t7\tSWITCH_OFF\r", "state cam 7 1"},
                      LineCase{"control byte kept in name", "state c\x01m 7 1", "state c\\x01m 7 1"},
                      LineCase{"NUL byte kept in name", "state a\0b 1 1"s, "state a\\x00b 1 1"},
                      LineCase{"parallel", "parallel 4", "parallel 4"},
                      LineCase{"parallel limit", "parallel 64", "parallel 64"},
                      LineCase{"parallel zero", "parallel 0", "malformed: bad thread count"},
                      LineCase{"parallel too many", "parallel 65", "malformed: bad thread count"},
                      LineCase{"join", "join", "join"},
                      LineCase{"join with word", "join now", "malformed: expected 'join'"},
                      LineCase{"unknown command", "restart camera", "malformed: unknown command 'restart'"},
                      LineCase{"command is case sensitive", "STATE a 1 1", "malformed: unknown command"},
                      LineCase{"escaped in reason", "\x1b[2J", "malformed: unknown command '\\x1b[2J'"}),
    SimTest::RowName<LineCase>);

}  // namespace
}  // namespace ProcMgr::Sim
