#include "memory_monitor/decimal_number.h"

#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <string>

#include "tests/memory_monitor/memory_test_support.h"

namespace {

using namespace std::string_literals;

struct DecimalRow {
    const char* guards;
    std::string text;
    std::optional<int32_t> asInt32;
    std::optional<uint64_t> asUint64;
};

constexpr uint64_t ALL_ONES = 18446744073709551615ULL;

const DecimalRow DECIMAL_ROWS[] = {
    {"plain digits", "42", 42, 42},
    {"leading zeros", "0007", 7, 7},
    {"every C blank before the number", " \t\n\v\f\r8", 8, 8},
    {"trailing line break ignored", "3\n", 3, 3},
    {"CRLF ignored", "5\r\n", 5, 5},
    {"digits stop at the first other character", "12abc", 12, 12},
    {"base 10 only", "0x1f", 0, 0},
    {"plus sign", "+9", 9, 9},
    {"minus zero", "-0", 0, 0},
    {"minus sign negates the unsigned result", "-1", -1, ALL_ONES},
    {"largest int32", "2147483647", 2147483647, 2147483647},
    {"one past int32", "2147483648", std::nullopt, 2147483648ULL},
    {"smallest int32", "-2147483648", -2147483647 - 1, 18446744071562067968ULL},
    {"one below int32", "-2147483649", std::nullopt, 18446744071562067967ULL},
    {"largest uint64", "18446744073709551615", std::nullopt, ALL_ONES},
    {"one past uint64", "18446744073709551616", std::nullopt, std::nullopt},
    {"negated largest uint64 wraps to 1", "-18446744073709551615", std::nullopt, 1},
    {"negated beyond 64 bits", "-18446744073709551616", std::nullopt, std::nullopt},
    {"forty digits", std::string(40, '9'), std::nullopt, std::nullopt},
    {"empty", "", std::nullopt, std::nullopt},
    {"blanks only", "   ", std::nullopt, std::nullopt},
    {"line break only", "\n", std::nullopt, std::nullopt},
    {"sign without digits", "-", std::nullopt, std::nullopt},
    {"two signs", "+-1", std::nullopt, std::nullopt},
    {"blank between sign and digits", "- 1", std::nullopt, std::nullopt},
    {"letters first", "abc", std::nullopt, std::nullopt},
    {"NUL ends the text", "\0"s "5", std::nullopt, std::nullopt},
    {"NUL after the digits", "6\0"s "7", 6, 6},
};

template <typename Convert>
auto Oracle(Convert convert, const std::string& text) -> std::optional<decltype(convert(text))>
{
    try {
        return convert(text);
    } catch (const std::logic_error&) {
        return std::nullopt;
    }
}

class DecimalNumberTest : public testing::TestWithParam<DecimalRow> {};

TEST_P(DecimalNumberTest, ReadsLikeTheStandardConversions)
{
    const DecimalRow& row = GetParam();
    EXPECT_EQ(ProcMgr::ParseLeadingInt32(row.text), row.asInt32);
    EXPECT_EQ(ProcMgr::ParseLeadingUint64(row.text), row.asUint64);
    // The standard library is the reference whose acceptance the parsers copy.
    const auto stoi = [](const std::string& text) { return std::stoi(text); };
    const auto stoul = [](const std::string& text) { return static_cast<uint64_t>(std::stoul(text)); };
    EXPECT_EQ(ProcMgr::ParseLeadingInt32(row.text), Oracle(stoi, row.text));
    EXPECT_EQ(ProcMgr::ParseLeadingUint64(row.text), Oracle(stoul, row.text));
}

INSTANTIATE_TEST_SUITE_P(Rows, DecimalNumberTest, testing::ValuesIn(DECIMAL_ROWS), MemoryTest::RowNamer());

}  // namespace
