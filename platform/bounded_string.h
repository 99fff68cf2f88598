// The platform's bounds-checked string functions. Both answer 0 on success and refuse, rather
// than overrun, when the destination of destMax bytes is too small.
#ifndef PLATFORM_BOUNDED_STRING_H
#define PLATFORM_BOUNDED_STRING_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

int memset_s(void* dest, size_t destMax, int c, size_t count);
// Copies count bytes of src and a terminating zero; fails when that needs more than destMax bytes.
int strncpy_s(char* dest, size_t destMax, const char* src, size_t count);

#ifdef __cplusplus
}
#endif

#endif
