#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/eventfd.h>
#include <vector>

#include "platform/sim/line_reader.h"
#include "platform/sim/sim_output.h"
#include "tests/platform_sim/sim_test_support.h"

namespace ProcMgr::Sim {
namespace {

using SimTest::operator<<;  // NOLINT(misc-unused-using-decls): gtest prints rows with it

struct ReaderCase {
    const char* guards;
    std::string content;
    std::vector<std::string> expected;  // "line:TEXT", "too long" and finally "end"
};

std::vector<std::string> ReadAll(const std::string& path)
{
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    const UniqueFd stop(eventfd(0, EFD_CLOEXEC));
    LineReader reader(file.Get(), stop.Get());
    std::vector<std::string> seen;
    std::string line;
    for (;;) {
        const ReadStatus status = reader.Next(line);
        if (status == ReadStatus::LINE) {
            seen.push_back("line:" + line);
        } else if (status == ReadStatus::TOO_LONG) {
            seen.emplace_back("too long");
        } else {
            seen.emplace_back(status == ReadStatus::END ? "end" : "other");
            return seen;
        }
    }
}

class LineReaderTest : public ::testing::TestWithParam<ReaderCase> {};

TEST_P(LineReaderTest, SplitsLinesAndDropsOverlongOnes)
{
    SimTest::TempDir dir;
    const std::string path = dir.File("script");
    SimTest::WriteFile(path, GetParam().content);
    EXPECT_EQ(ReadAll(path), GetParam().expected);
}

const std::string LONGEST(MAX_LINE_BYTES, 'a');
const std::string OVERLONG(MAX_LINE_BYTES + 1, 'b');
const std::string HUGE_LINE(MAX_LINE_BYTES * 5 + 3, 'c');

INSTANTIATE_TEST_SUITE_P(
    Table, LineReaderTest,
    ::testing::Values(ReaderCase{"empty file", "", {"end"}},
                      ReaderCase{"two lines", "one\ntwo\n", {"line:one", "line:two", "end"}},
                      ReaderCase{"last line without newline", "one\ntwo", {"line:one", "line:two", "end"}},
                      ReaderCase{"empty lines kept", "\n\n", {"line:", "line:", "end"}},
                      ReaderCase{"longest line allowed", LONGEST + "\nx\n", {"line:" + LONGEST, "line:x", "end"}},
                      ReaderCase{"one byte too long", OVERLONG + "\nx\n", {"too long", "line:x", "end"}},
                      ReaderCase{"huge line across reads", HUGE_LINE + "\nx\n", {"too long", "line:x", "end"}},
                      ReaderCase{"huge last line without newline", "x\n" + HUGE_LINE, {"line:x", "too long", "end"}}),
    SimTest::RowName<ReaderCase>);

TEST(LineReaderStop, StopEventWinsOverPendingInput)
{
    SimTest::TempDir dir;
    const std::string path = dir.File("script");
    SimTest::WriteFile(path, "state a 1 1\n");
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    const UniqueFd stop(eventfd(1, EFD_CLOEXEC));
    LineReader reader(file.Get(), stop.Get());
    std::string line;
    EXPECT_EQ(reader.Next(line), ReadStatus::STOPPED);
}

}  // namespace
}  // namespace ProcMgr::Sim
