#include "platform/sim/script_line.h"

#include <array>
#include <utility>
#include <vector>

#include "platform/group_owner.h"
#include "platform/sim/sim_text.h"

namespace ProcMgr::Sim {

namespace {

constexpr size_t MAX_WHOLE_SECOND_DIGITS = 9;
constexpr size_t NANOSECOND_DIGITS = 9;
constexpr IntegerRange INT32_RANGE{INT32_MIN, INT32_MAX};

using Words = std::vector<std::string_view>;

Words SplitWords(std::string_view line)
{
    static constexpr std::string_view SEPARATORS = " \t\r";
    Words words;
    size_t start = line.find_first_not_of(SEPARATORS);
    while (start != std::string_view::npos) {
        const size_t end = line.find_first_of(SEPARATORS, start);
        words.push_back(line.substr(start, end - start));
        start = line.find_first_not_of(SEPARATORS, end);
    }
    return words;
}

MalformedLine Bad(const char* what, std::string_view word)
{
    return MalformedLine{Format("bad %s '%s'", what, EscapeControl(word).c_str())};
}

MalformedLine Usage(const char* usage)
{
    return MalformedLine{Format("expected '%s'", usage)};
}

std::optional<int32_t> ParseInt32(std::string_view text)
{
    const std::optional<int64_t> value = ParseInteger(text, INT32_RANGE);
    return value ? std::optional<int32_t>(static_cast<int32_t>(*value)) : std::nullopt;
}

ScriptLine ParseApp(const Words& words)
{
    if (words.size() != 4) {
        return Usage("app NAME NODETYPE SCOPE");
    }
    const std::optional<int64_t> nodeType = ParseInteger(words[2], {0, UINT32_MAX});
    if (!nodeType) {
        return Bad("node type", words[2]);
    }
    const std::optional<int32_t> scope = ParseInt32(words[3]);
    if (!scope) {
        return Bad("scope", words[3]);
    }
    return AppDeclaration{std::string(words[1]), static_cast<uint32_t>(*nodeType), *scope};
}

ScriptLine ParseRestartResult(const Words& words)
{
    if (words.size() != 3) {
        return Usage("restart-ret NAME RET");
    }
    const std::optional<int32_t> result = ParseInt32(words[2]);
    if (!result) {
        return Bad("result", words[2]);
    }
    return RestartResult{std::string(words[1]), *result};
}

ScriptLine ParsePause(const Words& words)
{
    if (words.size() != 2) {
        return Usage("sleep SECONDS");
    }
    const std::optional<std::chrono::nanoseconds> duration = ParseSeconds(words[1]);
    if (!duration) {
        return Bad("seconds", words[1]);
    }
    return Pause{*duration};
}

ScriptLine ParseStateChange(const Words& words)
{
    if (words.size() != 4) {
        return Usage("state NAME PID STATE");
    }
    const std::optional<int32_t> pid = ParseInt32(words[2]);
    if (!pid) {
        return Bad("pid", words[2]);
    }
    const std::optional<int32_t> state = ParseAppState(words[3]);
    if (!state) {
        return Bad("state", words[3]);
    }
    return StateChange{std::string(words[1]), *pid, *state};
}

ScriptLine ParseParallel(const Words& words)
{
    if (words.size() != 2) {
        return Usage("parallel N");
    }
    const std::optional<int64_t> threads = ParseInteger(words[1], {1, MAX_PARALLEL_THREADS});
    if (!threads) {
        return Bad("thread count (1..64)", words[1]);
    }
    return ParallelStart{static_cast<uint32_t>(*threads)};
}

ScriptLine ParseJoin(const Words& words)
{
    if (words.size() != 1) {
        return Usage("join");
    }
    return ParallelJoin{};
}

bool AllDigits(std::string_view text)
{
    return text.find_first_not_of("0123456789") == std::string_view::npos;
}

}  // namespace

ScriptLine ParseScriptLine(std::string_view line)
{
    using Parser = ScriptLine (*)(const Words&);
    static constexpr std::array<std::pair<std::string_view, Parser>, 6> COMMANDS{{
        {"app", ParseApp},
        {"restart-ret", ParseRestartResult},
        {"sleep", ParsePause},
        {"state", ParseStateChange},
        {"parallel", ParseParallel},
        {"join", ParseJoin},
    }};
    const Words words = SplitWords(line);
    if (words.empty() || words.front().front() == '#') {
        return NoOp{};
    }
    for (const auto& [command, parse] : COMMANDS) {
        if (words.front() == command) {
            return parse(words);
        }
    }
    return MalformedLine{Format("unknown command '%s'", EscapeControl(words.front()).c_str())};
}

std::optional<std::chrono::nanoseconds> ParseSeconds(std::string_view text)
{
    const size_t dot = text.find('.');
    const std::string_view whole = text.substr(0, dot);
    const std::string_view fraction = dot == std::string_view::npos ? std::string_view() : text.substr(dot + 1);
    if ((whole.empty() && fraction.empty()) || whole.size() > MAX_WHOLE_SECOND_DIGITS || !AllDigits(whole) ||
        !AllDigits(fraction)) {
        return std::nullopt;
    }
    int64_t nanoseconds = 0;
    for (const char digit : whole) {
        nanoseconds = nanoseconds * 10 + (digit - '0');
    }
    int64_t digitWeight = 1000000000;
    nanoseconds *= digitWeight;
    for (size_t i = 0; i < fraction.size() && i < NANOSECOND_DIGITS; ++i) {
        digitWeight /= 10;
        nanoseconds += (fraction[i] - '0') * digitWeight;
    }
    return std::chrono::nanoseconds(nanoseconds);
}

std::optional<int32_t> ParseAppState(std::string_view text)
{
    static constexpr std::array<std::pair<std::string_view, AppReportState>, 6> STATES{{
        {"SWITCH_ON", SWITCH_ON},
        {"SWITCH_OFF", SWITCH_OFF},
        {"HEART_BEAT_LOST", HEART_BEAT_LOST},
        {"HEART_BEAT_RECOVERY", HEART_BEAT_RECOVERY},
        {"ABNORMAL_EXIT", ABNORMAL_EXIT},
        {"ACTIVELY_EXIT", ACTIVELY_EXIT},
    }};
    for (const auto& [name, state] : STATES) {
        if (text == name) {
            return state;
        }
    }
    return ParseInt32(text);
}

}  // namespace ProcMgr::Sim
