// What the fuzz targets share.
#ifndef FUZZ_FUZZ_SUPPORT_H
#define FUZZ_FUZZ_SUPPORT_H

#include <cstdio>
#include <cstdlib>

namespace FuzzSupport {

// Aborts with the message, so that libFuzzer records the input as a crash.
[[noreturn]] inline void Fail(const char* message)
{
    std::fprintf(stderr, "fuzz check failed: %s\n", message);
    std::abort();
}

}  // namespace FuzzSupport

#endif
