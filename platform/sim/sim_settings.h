// The stand-ins' environment variables: read once per process by each stand-in, a malformed value
// reported on stderr and replaced by the default.
#ifndef PLATFORM_SIM_SIM_SETTINGS_H
#define PLATFORM_SIM_SIM_SETTINGS_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/sim/sim_output.h"
#include "platform/sim/sim_text.h"

namespace ProcMgr::Sim {

// The value of a variable, or nullptr when unset; tests pass a table instead of the environment.
using EnvLookup = std::function<const char*(const char* name)>;
using Reporter = std::function<void(const std::string& message)>;

const EnvLookup& ProcessEnvironment();
// Writes each message to stderr after "sim: ".
const Reporter& StderrReporter();

// Journal lines go to the file named by PLATFORM_SIM_JOURNAL, opened once for appending and kept
// open for the life of the process; without it, or when it cannot be opened, to stderr after "sim: ".
const LineSink& ProcessJournal();

void ReportMalformed(const Reporter& report, const char* name, std::string_view value, const std::string& expected,
                     const std::string& fallbackText);

// The parsed value of the variable; fallback when it is unset or empty, and also when parse gives
// nullopt, which is then reported once through report.
template <typename T, typename Parser>
T ReadSetting(const EnvLookup& env, const char* name, T fallback, const Parser& parse, const std::string& expected,
              const std::string& fallbackText, const Reporter& report)
{
    const char* raw = env(name);
    if (raw == nullptr || *raw == '\0') {
        return fallback;
    }
    std::optional<T> parsed = parse(std::string_view(raw));
    if (parsed) {
        return std::move(*parsed);
    }
    ReportMalformed(report, name, raw, expected, fallbackText);
    return fallback;
}

int64_t ReadInteger(const EnvLookup& env, const char* name, int64_t fallback, IntegerRange range,
                    const Reporter& report);

}  // namespace ProcMgr::Sim

#endif
