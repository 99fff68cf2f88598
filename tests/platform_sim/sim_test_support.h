// Temporary files, journals and report collectors for the stand-in tests.
#ifndef TESTS_PLATFORM_SIM_SIM_TEST_SUPPORT_H
#define TESTS_PLATFORM_SIM_SIM_TEST_SUPPORT_H

#include <gtest/gtest.h>
#include <map>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "platform/sim/sim_output.h"
#include "platform/sim/sim_settings.h"

namespace SimTest {

// A fresh directory, removed with everything in it by the destructor.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    std::string File(const std::string& name) const { return root + "/" + name; }

private:
    std::string root;
};

std::vector<std::string> ReadLines(const std::string& path);
void WriteFile(const std::string& path, const std::string& text);

// A journal file opened for appending, as the stand-ins open theirs.
class JournalFile {
public:
    explicit JournalFile(std::string filePath);
    ProcMgr::Sim::LineSink Sink() const { return ProcMgr::Sim::LineSink(fd.Get(), ""); }
    std::vector<std::string> Lines() const { return ReadLines(path); }
    // Lines that begin with prefix.
    std::vector<std::string> LinesWith(const std::string& prefix) const;

private:
    std::string path;
    ProcMgr::Sim::UniqueFd fd;
};

// Collects reports from any thread.
class Reports {
public:
    ProcMgr::Sim::Reporter Reporter();
    std::vector<std::string> Messages() const;

private:
    mutable std::mutex mutex;
    std::vector<std::string> messages;
};

// A test name made of a row's description: letters and digits kept, everything else '_'.
std::string CaseName(const std::string& guards);

// Names each row of a parameterised table by its "guards" field.
template <typename Row>
std::string RowName(const ::testing::TestParamInfo<Row>& info)
{
    return CaseName(info.param.guards);
}

// Shows a table row by its description in test names and failure messages; a test file brings it
// in with `using SimTest::operator<<;` next to its rows.
template <typename Row, typename = decltype(Row::guards)>
std::ostream& operator<<(std::ostream& out, const Row& row)
{
    return out << row.guards;
}

// An environment made of a table.
ProcMgr::Sim::EnvLookup TableEnvironment(const std::map<std::string, std::string>& variables);

}  // namespace SimTest

#endif
