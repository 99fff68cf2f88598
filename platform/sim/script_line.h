// One line of a group-owner script, parsed.
#ifndef PLATFORM_SIM_SCRIPT_LINE_H
#define PLATFORM_SIM_SCRIPT_LINE_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace ProcMgr::Sim {

constexpr uint32_t MAX_PARALLEL_THREADS = 64;

// Blank lines and comments.
struct NoOp {};
// app NAME NODETYPE SCOPE
struct AppDeclaration {
    std::string name;
    uint32_t nodeType = 0;
    int32_t reportScope = 0;
};
// restart-ret NAME RET
struct RestartResult {
    std::string name;
    int32_t result = 0;
};
// sleep SECONDS
struct Pause {
    std::chrono::nanoseconds duration{0};
};
// state NAME PID STATE
struct StateChange {
    std::string name;
    int32_t pid = 0;
    int32_t state = 0;
};
// parallel N
struct ParallelStart {
    uint32_t threads = 0;
};
// join
struct ParallelJoin {};
struct MalformedLine {
    std::string reason;
};

using ScriptLine =
    std::variant<NoOp, AppDeclaration, RestartResult, Pause, StateChange, ParallelStart, ParallelJoin, MalformedLine>;

// Words are separated by blanks, tabs or carriage returns; numbers are C-style (decimal or 0x).
ScriptLine ParseScriptLine(std::string_view line);

// Decimal seconds such as "2", "0.5" or ".25", at most 999999999 whole seconds; digits past the
// nanosecond are dropped. nullopt for signs, exponents and anything else.
std::optional<std::chrono::nanoseconds> ParseSeconds(std::string_view text);

// An enumerator name of the application states (SWITCH_ON ... ACTIVELY_EXIT) or any 32-bit integer.
std::optional<int32_t> ParseAppState(std::string_view text);

}  // namespace ProcMgr::Sim

#endif
