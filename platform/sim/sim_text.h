// Text helpers of the stand-ins: escaping for one-line records, printf-style formatting and
// strict integer parsing.
#ifndef PLATFORM_SIM_SIM_TEXT_H
#define PLATFORM_SIM_SIM_TEXT_H

#include <cstdarg>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ProcMgr::Sim {

// Bytes below 0x20 and 0x7f become C escapes (\n, \t, \r, \xHH) and a backslash becomes \\, so
// that the result holds no line break and no NUL and one record stays one line.
std::string EscapeControl(std::string_view text);

// Formatted text, cut at MAX_FORMATTED_BYTES so that one runaway record cannot exhaust memory.
constexpr size_t MAX_FORMATTED_BYTES = 65536;
std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string FormatV(const char* format, va_list args) __attribute__((format(printf, 1, 0)));

struct IntegerRange {
    int64_t min;
    int64_t max;
};

// A C-style integer: an optional sign, then decimal digits or 0x and hex digits, nothing else
// (no blanks, no junk). nullopt when malformed or outside range.
std::optional<int64_t> ParseInteger(std::string_view text, IntegerRange range);

}  // namespace ProcMgr::Sim

#endif
