// Stand-in for the platform's bounded-string library.
#include "platform/bounded_string.h"

#include <cstring>

namespace {
constexpr int BOUNDED_OK = 0;
constexpr int BOUNDED_INVALID = 22;    // a null pointer or a zero-sized destination
constexpr int BOUNDED_TOO_SMALL = 34;  // the result would not fit
}  // namespace

extern "C" __attribute__((visibility("default"))) int memset_s(void* dest, size_t destMax, int c, size_t count)
{
    if (dest == nullptr || destMax == 0) {
        return BOUNDED_INVALID;
    }
    if (count > destMax) {
        std::memset(dest, c, destMax);
        return BOUNDED_TOO_SMALL;
    }
    std::memset(dest, c, count);
    return BOUNDED_OK;
}

extern "C" __attribute__((visibility("default"))) int strncpy_s(char* dest, size_t destMax, const char* src,
                                                                size_t count)
{
    if (dest == nullptr || destMax == 0) {
        return BOUNDED_INVALID;
    }
    if (src == nullptr) {
        dest[0] = '\0';
        return BOUNDED_INVALID;
    }
    const size_t length = strnlen(src, count);
    if (length >= destMax) {
        dest[0] = '\0';
        return BOUNDED_TOO_SMALL;
    }
    std::memcpy(dest, src, length);
    dest[length] = '\0';
    return BOUNDED_OK;
}
