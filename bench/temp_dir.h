// A fresh directory under the system's temporary directory, removed with everything in it when the
// object goes; for benchmarks that need files of their own.
#ifndef BENCH_TEMP_DIR_H
#define BENCH_TEMP_DIR_H

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

namespace ProcMgr::Probes {

class TempDir {
public:
    // Its name starts with prefix. Throws when it cannot be made.
    explicit TempDir(const std::string& prefix)
        : path((std::filesystem::temp_directory_path() / (prefix + "XXXXXX")).string())
    {
        if (mkdtemp(path.data()) == nullptr) {
            throw std::runtime_error("cannot create a temporary directory like " + path);
        }
    }
    ~TempDir()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& Path() const { return path; }

private:
    std::string path;
};

}  // namespace ProcMgr::Probes

#endif
