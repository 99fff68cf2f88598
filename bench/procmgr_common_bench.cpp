// Cost of the exported name functions, called as other programs call them: through the shared
// library. Each lookup goes over keys 0 to 7, names and misses alike.
#include <benchmark/benchmark.h>
#include <string>

#include "procmgr_common/procmgr_common.h"

namespace ProcMgr::Bench {
namespace {

using NameFunction = std::string (*)(unsigned long);

constexpr unsigned long KEY_MASK = 7;

void NameLookup(benchmark::State& state, NameFunction name)
{
    if (name(0).empty() || !name(~0UL).empty()) {
        state.SkipWithError("key 0 has no name, or the largest key has one");
        return;
    }
    unsigned long key = 0;
    for (auto _ : state) {
        std::string text = name(key++ & KEY_MASK);
        benchmark::DoNotOptimize(text.data());
    }
}
BENCHMARK_CAPTURE(NameLookup, GetReportAppStateTypeStr, &GetReportAppStateTypeStr);
BENCHMARK_CAPTURE(NameLookup, GetProcessStateStr, &GetProcessStateStr);
BENCHMARK_CAPTURE(NameLookup, GetBaseServiceStateTypeStr, &GetBaseServiceStateTypeStr);
BENCHMARK_CAPTURE(NameLookup, GetAppExecStateStr, &GetAppExecStateStr);
BENCHMARK_CAPTURE(NameLookup, GetOptionType, &GetOptionType);
BENCHMARK_CAPTURE(NameLookup, GetGroupOwner, &GetGroupOwner);
BENCHMARK_CAPTURE(NameLookup, GetAppState, &GetAppState);
BENCHMARK_CAPTURE(NameLookup, GetSysState, &GetSysState);

void DigitCheck(benchmark::State& state, const std::string& text, bool digits)
{
    if (IsStrDigits(text) != digits) {
        state.SkipWithError("IsStrDigits misjudged the text");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(IsStrDigits(text));
    }
}
BENCHMARK_CAPTURE(DigitCheck, pid, std::string("4194304"), true);
BENCHMARK_CAPTURE(DigitCheck, twenty_digits, std::string("18446744073709551615"), true);
BENCHMARK_CAPTURE(DigitCheck, trailing_letter, std::string("4194304a"), false);

}  // namespace
}  // namespace ProcMgr::Bench
