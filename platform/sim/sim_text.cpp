#include "platform/sim/sim_text.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <vector>

namespace ProcMgr::Sim {

namespace {

void AppendEscaped(std::string& out, unsigned char byte)
{
    static constexpr char HEX_DIGITS[] = "0123456789abcdef";
    switch (byte) {
        case '\\':
            out += "\\\\";
            return;
        case '\n':
            out += "\\n";
            return;
        case '\t':
            out += "\\t";
            return;
        case '\r':
            out += "\\r";
            return;
        default:
            break;
    }
    if (byte < 0x20 || byte == 0x7f) {
        out += "\\x";
        out += HEX_DIGITS[byte >> 4];
        out += HEX_DIGITS[byte & 0xf];
        return;
    }
    out += static_cast<char>(byte);
}

}  // namespace

std::string EscapeControl(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        AppendEscaped(out, static_cast<unsigned char>(c));
    }
    return out;
}

std::string Format(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    std::string text = FormatV(format, args);
    va_end(args);
    return text;
}

std::string FormatV(const char* format, va_list args)
{
    if (format == nullptr) {
        return {};
    }
    va_list measuring;
    va_copy(measuring, args);
    const int needed = std::vsnprintf(nullptr, 0, format, measuring);
    va_end(measuring);
    if (needed <= 0) {
        return {};
    }
    const size_t length = std::min(static_cast<size_t>(needed), MAX_FORMATTED_BYTES);
    std::vector<char> buffer(length + 1);
    std::vsnprintf(buffer.data(), buffer.size(), format, args);
    return {buffer.data(), length};
}

std::optional<int64_t> ParseInteger(std::string_view text, IntegerRange range)
{
    bool negative = false;
    if (!text.empty() && (text.front() == '+' || text.front() == '-')) {
        negative = text.front() == '-';
        text.remove_prefix(1);
    }
    int base = 10;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        base = 16;
        text.remove_prefix(2);
    }
    uint64_t magnitude = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, magnitude, base);
    if (text.empty() || error != std::errc() || stop != end) {
        return std::nullopt;
    }
    const uint64_t limit = static_cast<uint64_t>(INT64_MAX) + (negative ? 1U : 0U);
    if (magnitude > limit) {
        return std::nullopt;
    }
    // Written so that INT64_MIN never passes through a negated INT64_MAX + 1.
    const int64_t value =
        negative && magnitude > 0 ? -static_cast<int64_t>(magnitude - 1) - 1 : static_cast<int64_t>(magnitude);
    if (value < range.min || value > range.max) {
        return std::nullopt;
    }
    return value;
}

}  // namespace ProcMgr::Sim
