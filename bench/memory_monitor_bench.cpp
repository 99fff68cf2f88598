// Cost of the shortage detector in the 200 ms loop: the idle tick, and a due check over four nodes.
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "memory_monitor/memory_monitor.h"
#include "tests/fakes/fakes.h"

namespace {

using Clock = ProcMgr::MemoryShortageDetector::Clock;

Clock::time_point benchNow{};

// Every reading lies one period after the last, so every call makes a due check.
Clock::time_point PeriodPerReading()
{
    benchNow += std::chrono::seconds(60);
    return benchNow;
}

class NodeTree {
public:
    explicit NodeTree(int nodeCount)
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "memory-bench-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            std::abort();
        }
        dir = pattern;
        Write("has_normal_memory", "0-" + std::to_string(nodeCount - 1) + "\n");
        for (int node = 0; node < nodeCount; ++node) {
            const std::string prefix = "Node " + std::to_string(node) + " ";
            std::filesystem::create_directories(dir + "/node" + std::to_string(node));
            Write("node" + std::to_string(node) + "/meminfo",
                  prefix + "MemTotal:       65536000 kB\n" + prefix + "MemFree:        4000000 kB\n" + prefix +
                      "MemUsed:        61536000 kB\n" + prefix + "Active:         1000000 kB\n" + prefix +
                      "Inactive:       2000000 kB\n" + prefix + "HugePages_Free:     0\n");
        }
    }
    ~NodeTree() { std::filesystem::remove_all(dir); }
    NodeTree(const NodeTree&) = delete;
    NodeTree& operator=(const NodeTree&) = delete;

    const std::string& Dir() const { return dir; }

private:
    void Write(const std::string& relativePath, const std::string& content) const
    {
        std::ofstream(dir + "/" + relativePath) << content;
    }

    std::string dir;
};

// The platform log answers "not enabled", as on a board logging errors only; nothing piles up.
void QuietPlatform()
{
    Fakes::ResetAll();
    Fakes::SetLog({4, false});
}

void RegisterOsMemoryNode(ProcMgr::SensorNodeEventReporter& reporter)
{
    reporter.RegisterSensorNode({ProcMgr::OS_MEMORY_NODE_NAME, 0x0617, 0xD0, 0});
}

void IdleTick(benchmark::State& state)
{
    QuietPlatform();
    ProcMgr::DeviceCount deviceCount;
    ProcMgr::SensorNodeEventReporter reporter(deviceCount);
    RegisterOsMemoryNode(reporter);
    ProcMgr::MemoryShortageDetector detector("/nonexistent");
    detector.Check(reporter);
    for (auto _ : state) {
        detector.Check(reporter);
    }
}
BENCHMARK(IdleTick);

void DueCheckOfFourNodes(benchmark::State& state)
{
    QuietPlatform();
    const NodeTree tree(4);
    ProcMgr::DeviceCount deviceCount;
    ProcMgr::SensorNodeEventReporter reporter(deviceCount);
    RegisterOsMemoryNode(reporter);
    ProcMgr::MemoryShortageDetector detector(tree.Dir(), &PeriodPerReading);
    detector.Check(reporter);
    detector.Check(reporter);  // discovery, so that the loop times the checks that follow
    for (auto _ : state) {
        detector.Check(reporter);
    }
    if (!Fakes::HalCalls("update").empty()) {
        state.SkipWithError("the fixture reported a shortage");
    }
}
BENCHMARK(DueCheckOfFourNodes);

}  // namespace

BENCHMARK_MAIN();
