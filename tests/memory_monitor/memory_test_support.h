// A temporary sysfs node tree and a compact view of the fake log, shared by the memory tests.
#ifndef TESTS_MEMORY_MONITOR_MEMORY_TEST_SUPPORT_H
#define TESTS_MEMORY_MONITOR_MEMORY_TEST_SUPPORT_H

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <sys/stat.h>
#include <utility>
#include <vector>

#include "tests/fakes/fakes.h"
#include "tests/probes/temp_dir.h"

namespace MemoryTest {

// Contents that SysfsTree::Place turns into other kinds of entry.
inline const std::string MISSING = "<missing>";
inline const std::string DIRECTORY = "<directory>";
inline const std::string FIFO = "<fifo>";
inline const std::string DANGLING_LINK = "<dangling link>";

class SysfsTree {
public:
    const std::string& Dir() const { return temp.Path(); }
    void Remove(const std::string& name) const { std::filesystem::remove_all(Dir() + "/" + name); }
    // Writes the file, creating its directory, or makes the entry that a marker content names.
    void Place(const std::string& name, const std::string& content) const
    {
        const std::filesystem::path path = Dir() + "/" + name;
        std::filesystem::create_directories(path.parent_path());
        if (content == DIRECTORY) {
            std::filesystem::create_directory(path);
        } else if (content == FIFO) {
            ASSERT_EQ(mkfifo(path.c_str(), 0600), 0) << path;
        } else if (content == DANGLING_LINK) {
            std::filesystem::create_symlink(Dir() + "/nowhere", path);
        } else if (content != MISSING) {
            std::ofstream out(path, std::ios::binary | std::ios::trunc);
            ASSERT_TRUE(out << content) << path;
        }
    }

private:
    ProcMgr::Probes::TempDir temp{"memory-sysfs-"};
};

// The fake log as "<tag>|<message>" with dir written "{dir}", after checking and cutting the
// "[proc_launcher.cpp:N]" prefix. Tags: I info and E error of the daemon's module, R its run log.
inline std::vector<std::string> Logs(const std::string& dir = "")
{
    const std::map<std::pair<int, int>, std::string> tags{{{0x36, 1}, "I"}, {{0x36, 3}, "E"}, {{0x1000036, 1}, "R"}};
    const std::string prefix = "[proc_launcher.cpp:";
    std::vector<std::string> lines;
    for (const Fakes::LogRecord& record : Fakes::LogRecords()) {
        const std::string& text = record.text;
        const size_t close = text.find(']');
        const bool prefixed = text.rfind(prefix, 0) == 0 && close != std::string::npos && close > prefix.size() &&
                              text.find_first_not_of("0123456789", prefix.size()) == close;
        EXPECT_TRUE(prefixed) << text;
        const auto tag = tags.find({record.moduleId, record.level});
        std::string line = (tag == tags.end() ? "?" : tag->second) + "|" + text.substr(prefixed ? close + 1 : 0);
        for (size_t at = line.find(dir); !dir.empty() && at != std::string::npos; at = line.find(dir, at)) {
            line.replace(at, dir.size(), "{dir}");
        }
        lines.push_back(line);
    }
    return lines;
}

}  // namespace MemoryTest

#endif
