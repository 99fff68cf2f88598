// Decimal conversions that accept exactly what the C library's base-10 strtol/strtoul accept, so
// that kernel text is read the way the platform's other tools read it, without exceptions.
#ifndef MEMORY_MONITOR_DECIMAL_NUMBER_H
#define MEMORY_MONITOR_DECIMAL_NUMBER_H

#include <cstdint>
#include <optional>
#include <string_view>

namespace ProcMgr {

// Leading white space, an optional sign, then digits up to the first non-digit; the rest is
// ignored. Empty when no digit leads or the number does not fit a signed 32-bit int.
std::optional<int32_t> ParseLeadingInt32(std::string_view text);

// As ParseLeadingInt32, for an unsigned 64-bit result. A minus sign negates modulo 2^64, as strtoul
// does: "-1" gives 18446744073709551615. Empty when no digit leads or the digits exceed 64 bits.
std::optional<uint64_t> ParseLeadingUint64(std::string_view text);

}  // namespace ProcMgr

#endif
