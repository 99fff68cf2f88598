// A temporary sysfs node tree and a compact view of the fake log, shared by the memory tests.
#ifndef TESTS_MEMORY_MONITOR_MEMORY_TEST_SUPPORT_H
#define TESTS_MEMORY_MONITOR_MEMORY_TEST_SUPPORT_H

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace MemoryTest {

inline constexpr int INFO = 1;
inline constexpr int ERROR = 3;
inline constexpr int MODULE = 0x36;
inline constexpr int RUNLOG_MODULE = 0x1000036;

// One log record without its "[file:line]" prefix.
struct LogLine {
    int moduleId = 0;
    int level = 0;
    std::string message;
    bool operator==(const LogLine& other) const
    {
        return moduleId == other.moduleId && level == other.level && message == other.message;
    }
};
void PrintTo(const LogLine& line, std::ostream* out);

// The fake log's records so far; fails the test on a record without the "[proc_launcher.cpp:N]" prefix.
std::vector<LogLine> LoggedLines();

// A test name made of the words of a table row's description: "CRLF ignored" -> "CRLF_ignored".
std::string RowName(std::string_view guards);
// Names parameterised tests after the guards field of their row.
struct RowNamer {
    template <typename ParamInfo>
    std::string operator()(const ParamInfo& paramInfo) const
    {
        return RowName(paramInfo.param.guards);
    }
};

// "Cannot open node statistic file {dir}/<file>."
LogLine CannotOpen(const std::string& file);

// Replaces every "{dir}" in the messages with dir.
std::vector<LogLine> WithDir(std::vector<LogLine> lines, const std::string& dir);

// Contents that SysfsTree::Place turns into other kinds of entry.
inline constexpr const char* MISSING = "\x01" "missing";
inline constexpr const char* DIRECTORY = "\x01" "directory";
inline constexpr const char* FIFO = "\x01" "fifo";
inline constexpr const char* DANGLING_LINK = "\x01" "dangling link";

class SysfsTree {
public:
    SysfsTree();
    ~SysfsTree();
    SysfsTree(const SysfsTree&) = delete;
    SysfsTree& operator=(const SysfsTree&) = delete;

    const std::string& Dir() const { return dir; }
    // Creates the parent directories as needed.
    void Write(const std::string& relativePath, std::string_view content) const;
    void MakeDirectory(const std::string& relativePath) const;
    void Remove(const std::string& relativePath) const;
    // Write, or the kind of entry that a marker content names.
    void Place(const std::string& relativePath, const std::string& content) const;
    // A kernel-style meminfo for the node with the given MemFree.
    void WriteMeminfo(int32_t nodeId, uint64_t freeKb) const;

private:
    std::string dir;
};

}  // namespace MemoryTest

#endif
