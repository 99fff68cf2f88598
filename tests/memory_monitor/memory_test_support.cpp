#include "tests/memory_monitor/memory_test_support.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/fakes/fakes.h"

namespace MemoryTest {

void PrintTo(const LogLine& line, std::ostream* out)
{
    *out << "{0x" << std::hex << line.moduleId << std::dec << ", " << line.level << ", \"" << line.message << "\"}";
}

std::vector<LogLine> LoggedLines()
{
    const std::string prefix = "[proc_launcher.cpp:";
    std::vector<LogLine> lines;
    for (const auto& record : Fakes::LogRecords()) {
        const size_t close = record.text.find(']');
        const bool prefixed = record.text.compare(0, prefix.size(), prefix) == 0 && close != std::string::npos &&
                              close > prefix.size() &&
                              record.text.find_first_not_of("0123456789", prefix.size()) == close;
        EXPECT_TRUE(prefixed) << record.text;
        lines.push_back({record.moduleId, record.level, prefixed ? record.text.substr(close + 1) : record.text});
    }
    return lines;
}

std::string RowName(std::string_view guards)
{
    std::string name;
    for (const char character : guards) {
        const bool word = std::isalnum(static_cast<unsigned char>(character)) != 0;
        if (word) {
            name += character;
        } else if (!name.empty() && name.back() != '_') {
            name += '_';
        }
    }
    return name;
}

LogLine CannotOpen(const std::string& file)
{
    return {MODULE, ERROR, "Cannot open node statistic file {dir}/" + file + "."};
}

std::vector<LogLine> WithDir(std::vector<LogLine> lines, const std::string& dir)
{
    const std::string placeholder = "{dir}";
    for (auto& line : lines) {
        std::string& text = line.message;
        for (size_t at = text.find(placeholder); at != std::string::npos;
             at = text.find(placeholder, at + dir.size())) {
            text.replace(at, placeholder.size(), dir);
        }
    }
    return lines;
}

SysfsTree::SysfsTree()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "memory-sysfs-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        ADD_FAILURE() << "mkdtemp failed for " << pattern;
    }
    dir = pattern;
}

SysfsTree::~SysfsTree()
{
    std::error_code ignored;
    std::filesystem::remove_all(dir, ignored);
}

void SysfsTree::Write(const std::string& relativePath, std::string_view content) const
{
    const std::filesystem::path path = std::filesystem::path(dir) / relativePath;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    ASSERT_TRUE(out.good()) << path;
}

void SysfsTree::MakeDirectory(const std::string& relativePath) const
{
    std::filesystem::create_directories(std::filesystem::path(dir) / relativePath);
}

void SysfsTree::Remove(const std::string& relativePath) const
{
    std::filesystem::remove_all(std::filesystem::path(dir) / relativePath);
}

void SysfsTree::Place(const std::string& relativePath, const std::string& content) const
{
    const std::string path = dir + "/" + relativePath;
    if (content == MISSING) {
        return;
    }
    if (content == DIRECTORY) {
        MakeDirectory(relativePath);
    } else if (content == FIFO) {
        ASSERT_EQ(mkfifo(path.c_str(), 0600), 0) << path;
    } else if (content == DANGLING_LINK) {
        std::filesystem::create_symlink(dir + "/nowhere", path);
    } else {
        Write(relativePath, content);
    }
}

void SysfsTree::WriteMeminfo(int32_t nodeId, uint64_t freeKb) const
{
    const std::string node = "Node " + std::to_string(nodeId) + " ";
    Write("node" + std::to_string(nodeId) + "/meminfo",
          node + "MemTotal:       65536000 kB\n" + node + "MemFree:        " + std::to_string(freeKb) + " kB\n" +
              node + "MemUsed:        1024 kB\n" + node + "HugePages_Free:     0\n");
}

}  // namespace MemoryTest
