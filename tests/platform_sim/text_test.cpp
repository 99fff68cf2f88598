#include <gtest/gtest.h>
#include <string>

#include "platform/sim/sim_text.h"
#include "tests/platform_sim/sim_test_support.h"

namespace ProcMgr::Sim {
namespace {

using SimTest::operator<<;  // NOLINT(misc-unused-using-decls): gtest prints rows with it

using namespace std::string_literals;

struct EscapeCase {
    const char* guards;
    std::string input;
    std::string expected;
};

class EscapeControlTest : public ::testing::TestWithParam<EscapeCase> {};

TEST_P(EscapeControlTest, WritesOneLineRecord)
{
    EXPECT_EQ(EscapeControl(GetParam().input), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Table, EscapeControlTest,
    ::testing::Values(EscapeCase{"plain text untouched", "os-memory", "os-memory"},
                      EscapeCase{"empty stays empty", "", ""},
                      EscapeCase{"line break of a node-list item", "camera\n", "camera\\n"},
                      EscapeCase{"tab and carriage return", "a\tb\rc", "a\\tb\\rc"},
                      EscapeCase{"NUL byte in the middle", "a\0b"s, "a\\x00b"},
                      EscapeCase{"other control bytes as two hex digits", "\x01\x1b\x1f", "\\x01\\x1b\\x1f"},
                      EscapeCase{"DEL", "x\x7f", "x\\x7f"},
                      EscapeCase{"backslash doubled so escapes stay unambiguous", "a\\nb", "a\\\\nb"},
                      EscapeCase{"space and printable edge kept", " ~", " ~"},
                      EscapeCase{"bytes above 0x7f kept for UTF-8", "\xc3\xa9", "\xc3\xa9"}),
    SimTest::RowName<EscapeCase>);

struct IntegerCase {
    const char* guards;
    const char* text;
    IntegerRange range;
    std::optional<int64_t> expected;
};

class ParseIntegerTest : public ::testing::TestWithParam<IntegerCase> {};

TEST_P(ParseIntegerTest, AcceptsOnlyWholeCStyleNumbersInRange)
{
    EXPECT_EQ(ParseInteger(GetParam().text, GetParam().range), GetParam().expected) << GetParam().guards;
}

constexpr IntegerRange ANY{INT64_MIN, INT64_MAX};
constexpr IntegerRange BYTE{0, 255};

INSTANTIATE_TEST_SUITE_P(
    Table, ParseIntegerTest,
    ::testing::Values(
        IntegerCase{"decimal", "42", ANY, 42}, IntegerCase{"negative", "-1", ANY, -1},
        IntegerCase{"explicit plus", "+7", ANY, 7}, IntegerCase{"hex lower", "0x1f", ANY, 31},
        IntegerCase{"hex upper prefix and digits", "0XFF", ANY, 255}, IntegerCase{"negative hex", "-0x10", ANY, -16},
        IntegerCase{"leading zeros are decimal, not octal", "010", ANY, 10}, IntegerCase{"zero", "0", BYTE, 0},
        IntegerCase{"range top inclusive", "255", BYTE, 255}, IntegerCase{"above range", "256", BYTE, std::nullopt},
        IntegerCase{"below range", "-1", BYTE, std::nullopt},
        IntegerCase{"int64 max", "9223372036854775807", ANY, INT64_MAX},
        IntegerCase{"int64 min", "-9223372036854775808", ANY, INT64_MIN},
        IntegerCase{"overflow", "9223372036854775808", ANY, std::nullopt},
        IntegerCase{"far overflow", "99999999999999999999999", ANY, std::nullopt},
        IntegerCase{"letters", "abc", ANY, std::nullopt}, IntegerCase{"trailing junk", "12abc", ANY, std::nullopt},
        IntegerCase{"trailing blank", "12 ", ANY, std::nullopt}, IntegerCase{"leading blank", " 12", ANY, std::nullopt},
        IntegerCase{"empty", "", ANY, std::nullopt}, IntegerCase{"sign alone", "-", ANY, std::nullopt},
        IntegerCase{"prefix alone", "0x", ANY, std::nullopt}, IntegerCase{"double sign", "--1", ANY, std::nullopt},
        IntegerCase{"sign after prefix", "0x-1", ANY, std::nullopt},
        IntegerCase{"decimal point", "1.5", ANY, std::nullopt}),
    SimTest::RowName<IntegerCase>);

TEST(FormatTest, CutsRunawayTextAtTheBound)
{
    const std::string huge(MAX_FORMATTED_BYTES * 2, 'x');
    EXPECT_EQ(Format("%s", huge.c_str()).size(), MAX_FORMATTED_BYTES);
    EXPECT_EQ(Format("[%s:%d]%s", "proc_launcher.cpp", 41, "start entry..."), "[proc_launcher.cpp:41]start entry...");
}

}  // namespace
}  // namespace ProcMgr::Sim
