#include "tests/platform_sim/sim_test_support.h"

#include <cctype>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>

namespace SimTest {

TempDir::TempDir()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "platform_sim.XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("mkdtemp failed");
    }
    root = pattern;
}

TempDir::~TempDir()
{
    std::error_code ignored;
    std::filesystem::remove_all(root, ignored);
}

std::vector<std::string> ReadLines(const std::string& path)
{
    std::ifstream in(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

void WriteFile(const std::string& path, const std::string& text)
{
    std::ofstream out(path, std::ios::binary);
    out << text;
}

JournalFile::JournalFile(std::string filePath)
    : path(std::move(filePath)), fd(open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644))
{
    if (!fd.Valid()) {
        throw std::runtime_error("cannot open " + path);
    }
}

std::vector<std::string> JournalFile::LinesWith(const std::string& prefix) const
{
    std::vector<std::string> matching;
    for (const std::string& line : Lines()) {
        if (line.rfind(prefix, 0) == 0) {
            matching.push_back(line);
        }
    }
    return matching;
}

ProcMgr::Sim::Reporter Reports::Reporter()
{
    return [this](const std::string& message) {
        const std::lock_guard<std::mutex> lock(mutex);
        messages.push_back(message);
    };
}

std::vector<std::string> Reports::Messages() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return messages;
}

std::string CaseName(const std::string& guards)
{
    std::string name;
    for (const char c : guards) {
        name += std::isalnum(static_cast<unsigned char>(c)) != 0 ? c : '_';
    }
    return name;
}

ProcMgr::Sim::EnvLookup TableEnvironment(const std::map<std::string, std::string>& variables)
{
    auto table = std::make_shared<const std::map<std::string, std::string>>(variables);
    return [table](const char* name) -> const char* {
        const auto found = table->find(name);
        return found == table->end() ? nullptr : found->second.c_str();
    };
}

}  // namespace SimTest
