#include "fuzz/fuzz_support.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

#include "tests/probes/temp_dir.h"

namespace FuzzSupport {

const std::string& ScratchDir()
{
    // An exception here ends the run with an abort, which libFuzzer records as a crash.
    static const ProcMgr::Probes::TempDir scratch("memory-fuzz-");
    return scratch.Path();
}

std::string WriteScratchFile(const std::string& relativePath, const uint8_t* data, size_t size)
{
    const std::filesystem::path file = std::filesystem::path(ScratchDir()) / relativePath;
    std::error_code error;
    std::filesystem::create_directories(file.parent_path(), error);
    // A fresh file rather than a truncated one: ext4 flushes a truncated file to disk on close,
    // which would cost milliseconds per input.
    unlink(file.c_str());
    const int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    const bool written = descriptor >= 0 && write(descriptor, data, size) == static_cast<ssize_t>(size);
    if (descriptor >= 0) {
        close(descriptor);
    }
    if (!written) {
        Fail("cannot write the scratch file");
    }
    return file.string();
}

void Fail(const char* message)
{
    std::fprintf(stderr, "fuzz check failed: %s\n", message);
    std::abort();
}

}  // namespace FuzzSupport
