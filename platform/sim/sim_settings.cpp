#include "platform/sim/sim_settings.h"

#include <cerrno>
#include <cinttypes>
#include <cstdlib>
#include <fcntl.h>
#include <system_error>

namespace ProcMgr::Sim {

namespace {

constexpr const char* JOURNAL_VARIABLE = "PLATFORM_SIM_JOURNAL";

LineSink OpenJournal(const EnvLookup& env, const Reporter& report)
{
    const char* path = env(JOURNAL_VARIABLE);
    if (path == nullptr || *path == '\0') {
        return StderrNotes();
    }
    const int fd = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0) {
        const std::string reason = std::error_code(errno, std::generic_category()).message();
        report(Format("cannot open %s='%s' (%s); journal lines go to stderr", JOURNAL_VARIABLE,
                      EscapeControl(path).c_str(), reason.c_str()));
        return StderrNotes();
    }
    // Never closed: threads of the daemon may still journal while the process exits.
    return {fd, ""};
}

}  // namespace

const EnvLookup& ProcessEnvironment()
{
    // Nothing in the process changes its environment while it runs.
    static const EnvLookup lookup = [](const char* name) {
        return std::getenv(name);  // NOLINT(concurrency-mt-unsafe)
    };
    return lookup;
}

const Reporter& StderrReporter()
{
    static const Reporter reporter = [](const std::string& message) { StderrNotes().Write(message); };
    return reporter;
}

const LineSink& ProcessJournal()
{
    static const LineSink journal = OpenJournal(ProcessEnvironment(), StderrReporter());
    return journal;
}

void ReportMalformed(const Reporter& report, const char* name, std::string_view value, const std::string& expected,
                     const std::string& fallbackText)
{
    report(Format("%s='%s' is not %s; using %s", name, EscapeControl(value).c_str(), expected.c_str(),
                  fallbackText.c_str()));
}

int64_t ReadInteger(const EnvLookup& env, const char* name, int64_t fallback, IntegerRange range,
                    const Reporter& report)
{
    const std::string expected = Format("an integer in %" PRId64 "..%" PRId64, range.min, range.max);
    return ReadSetting(
        env, name, fallback, [range](std::string_view text) { return ParseInteger(text, range); }, expected,
        std::to_string(fallback), report);
}

}  // namespace ProcMgr::Sim
