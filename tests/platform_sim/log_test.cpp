#include <gtest/gtest.h>
#include <regex>

#include "platform/sim/sim_log.h"
#include "tests/platform_sim/sim_test_support.h"

namespace ProcMgr::Sim {
namespace {

using SimTest::operator<<;  // NOLINT(misc-unused-using-decls): gtest prints rows with it

constexpr int MODULE = 0x36;
constexpr int RUN_LOG_MODULE = 0x1000036;

struct PassCase {
    const char* guards;
    LogSettings settings;
    int moduleId;
    int level;
    bool passes;
};

class LogFilterTest : public ::testing::TestWithParam<PassCase> {};

TEST_P(LogFilterTest, PassesByLevelAndRunLogFlag)
{
    SimTest::TempDir dir;
    SimTest::JournalFile journal(dir.File("journal"));
    const SimLog log(GetParam().settings, journal.Sink(), journal.Sink());
    EXPECT_EQ(log.Passes(GetParam().moduleId, GetParam().level), GetParam().passes);
}

INSTANTIATE_TEST_SUITE_P(
    Table, LogFilterTest,
    ::testing::Values(PassCase{"default passes info", {1, true}, MODULE, 1, true},
                      PassCase{"default blocks debug", {1, true}, MODULE, 0, false},
                      PassCase{"threshold itself passes", {3, true}, MODULE, 3, true},
                      PassCase{"below threshold blocked", {3, true}, MODULE, 2, false},
                      PassCase{"run log on passes flagged module", {1, true}, RUN_LOG_MODULE, 1, true},
                      PassCase{"run log off blocks flagged module", {1, false}, RUN_LOG_MODULE, 3, false},
                      PassCase{"run log off leaves plain module", {1, false}, MODULE, 1, true},
                      PassCase{"threshold four blocks every named level", {4, true}, MODULE, 3, false}),
    SimTest::RowName<PassCase>);

TEST(SimLogTest, JournalsEveryRecordAndShowsOnlyPassingOnesOnTheConsole)
{
    SimTest::TempDir dir;
    SimTest::JournalFile journal(dir.File("journal"));
    SimTest::JournalFile console(dir.File("console"));
    const SimLog log({3, true}, journal.Sink(), console.Sink());
    log.Record(MODULE, 1, "[proc_launcher.cpp:41]start entry...");
    log.Record(RUN_LOG_MODULE, 3, "[proc_launcher.cpp:7]bad\nline\tend");
    log.Flush();
    EXPECT_EQ(journal.Lines(), (std::vector<std::string>{
                                   "log 1 0x36 [proc_launcher.cpp:41]start entry...",
                                   "log 3 0x1000036 [proc_launcher.cpp:7]bad\\nline\\tend",
                                   "log flush",
                               }));
    const std::vector<std::string> shown = console.Lines();
    ASSERT_EQ(shown.size(), 1U);
    const std::regex readable(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} ERROR mod=0x1000036 )"
                              R"(\[proc_launcher\.cpp:7\]bad\\nline\\tend)");
    EXPECT_TRUE(std::regex_match(shown[0], readable)) << shown[0];
}

struct LevelNameCase {
    const char* guards;
    int level;
    const char* shownAs;
};

class ReadableLevelTest : public ::testing::TestWithParam<LevelNameCase> {};

TEST_P(ReadableLevelTest, NamesKnownLevelsAndNumbersOthers)
{
    const timespec when{0, 123456789};
    const std::string line = ReadableLogLine(when, MODULE, GetParam().level, "text");
    EXPECT_NE(line.find(std::string(".123 ") + GetParam().shownAs + " mod=0x36 text"), std::string::npos) << line;
}

INSTANTIATE_TEST_SUITE_P(Table, ReadableLevelTest,
                         ::testing::Values(LevelNameCase{"debug", 0, "DEBUG"}, LevelNameCase{"info", 1, "INFO "},
                                           LevelNameCase{"warning", 2, "WARN "}, LevelNameCase{"error", 3, "ERROR"},
                                           LevelNameCase{"unnamed level", 7, "7    "},
                                           LevelNameCase{"negative level", -1, "-1   "}),
                         SimTest::RowName<LevelNameCase>);

}  // namespace
}  // namespace ProcMgr::Sim
