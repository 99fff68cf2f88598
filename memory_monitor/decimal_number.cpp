#include "memory_monitor/decimal_number.h"

#include <limits>

namespace ProcMgr {
namespace {

struct LeadingNumber {
    bool negative = false;
    bool hasDigits = false;
    bool exceeds64Bits = false;
    uint64_t magnitude = 0;
};

// The white space of the C locale, which is the only locale the daemon runs in.
bool IsCSpace(char character)
{
    return character == ' ' || (character >= '\t' && character <= '\r');
}

bool IsDigit(char character)
{
    return character >= '0' && character <= '9';
}

LeadingNumber ScanLeadingNumber(std::string_view text)
{
    LeadingNumber number;
    size_t position = 0;
    while (position < text.size() && IsCSpace(text[position])) {
        ++position;
    }
    if (position < text.size() && (text[position] == '+' || text[position] == '-')) {
        number.negative = text[position] == '-';
        ++position;
    }
    constexpr uint64_t MAX_VALUE = std::numeric_limits<uint64_t>::max();
    for (; position < text.size() && IsDigit(text[position]); ++position) {
        const auto digit = static_cast<uint64_t>(text[position] - '0');
        number.hasDigits = true;
        if (number.magnitude > (MAX_VALUE - digit) / 10) {
            number.exceeds64Bits = true;
        } else {
            number.magnitude = number.magnitude * 10 + digit;
        }
    }
    return number;
}

}  // namespace

std::optional<int32_t> ParseLeadingInt32(std::string_view text)
{
    const LeadingNumber number = ScanLeadingNumber(text);
    constexpr auto MAX_POSITIVE = static_cast<uint64_t>(std::numeric_limits<int32_t>::max());
    const uint64_t limit = number.negative ? MAX_POSITIVE + 1 : MAX_POSITIVE;
    if (!number.hasDigits || number.exceeds64Bits || number.magnitude > limit) {
        return std::nullopt;
    }
    const auto magnitude = static_cast<int64_t>(number.magnitude);
    return static_cast<int32_t>(number.negative ? -magnitude : magnitude);
}

std::optional<uint64_t> ParseLeadingUint64(std::string_view text)
{
    const LeadingNumber number = ScanLeadingNumber(text);
    if (!number.hasDigits || number.exceeds64Bits) {
        return std::nullopt;
    }
    return number.negative ? 0 - number.magnitude : number.magnitude;
}

}  // namespace ProcMgr
