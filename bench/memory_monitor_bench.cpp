// Cost of the OS memory monitor: the due check over fixture trees of growing size and over the
// worst tree within the bounds, the free-memory read of one node of this machine, and the
// node-list item parser and file reader.
#include <benchmark/benchmark.h>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench/operation_probes.h"
#include "bench/quiet_platform.h"
#include "bench/temp_dir.h"
#include "memory_monitor/memory_monitor.h"

namespace ProcMgr::Bench {
namespace {

// The kernel's per-node meminfo fields, so that a fixture read scans as many lines as a real one.
constexpr const char* MEMINFO_FIELDS[] = {
    "MemTotal",       "MemFree",        "MemUsed",       "SwapCached",      "Active",         "Inactive",
    "Active(anon)",   "Inactive(anon)", "Active(file)",  "Inactive(file)",  "Unevictable",    "Mlocked",
    "Dirty",          "Writeback",      "FilePages",     "Mapped",          "AnonPages",      "Shmem",
    "KernelStack",    "PageTables",     "SecPageTables", "NFS_Unstable",    "Bounce",         "WritebackTmp",
    "KReclaimable",   "Slab",           "SReclaimable",  "SUnreclaim",      "AnonHugePages",  "ShmemHugePages",
    "ShmemPmdMapped", "FileHugePages",  "FilePmdMapped", "HugePages_Total", "HugePages_Free", "HugePages_Surp",
};

// Plenty on every node: a check reports "no shortage", which the HAL never sees.
constexpr unsigned long FIXTURE_FIELD_KB = 4000000;

// Writes the file under the directory, creating its parent directories.
void WriteFile(const Probes::TempDir& dir, const std::string& relativePath, const std::string& content)
{
    const std::filesystem::path path = dir.Path() + "/" + relativePath;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << content;
}

std::string NodeMeminfo(int node)
{
    std::string text;
    for (const char* field : MEMINFO_FIELDS) {
        char line[96];
        std::snprintf(line, sizeof(line), "Node %d %-16s%9lu kB\n", node, (std::string(field) + ":").c_str(),
                      FIXTURE_FIELD_KB);
        text += line;
    }
    return text;
}

// A sysfs node directory with nodes 0 .. nodeCount - 1, all of normal memory.
void WriteNodeTree(const Probes::TempDir& tree, int nodeCount)
{
    WriteFile(tree, "has_normal_memory", "0-" + std::to_string(nodeCount - 1) + "\n");
    for (int node = 0; node < nodeCount; ++node) {
        WriteFile(tree, "node" + std::to_string(node) + "/meminfo", NodeMeminfo(node));
    }
}

// Every reading lies one period after the last, so that every Check makes a due check.
MemoryShortageDetector::Clock::time_point PeriodPerReading()
{
    static MemoryShortageDetector::Clock::time_point now{};
    now += std::chrono::seconds(60);
    return now;
}

void DueCheck(benchmark::State& state)
{
    const auto nodeCount = static_cast<int>(state.range(0));
    const Probes::TempDir tree("memory-bench-");
    WriteNodeTree(tree, nodeCount);
    // The journal holds the HAL's lines only, since no log record is enabled.
    Sim::Apply(QuietSettings(Sim::JournalTo::MEMORY));
    SensorNodeEventReporter reporter;
    reporter.RegisterSensorNode({OS_MEMORY_NODE_NAME, 0x0617, 0xD0, -1});
    MemoryShortageDetector detector(tree.Path(), &PeriodPerReading);
    detector.Check(reporter);  // starts the period
    detector.Check(reporter);  // discovers the nodes, which later checks only read
    const OperationCounts before = OperationsOnThisThread();
    for (auto _ : state) {
        detector.Check(reporter);
    }
    const OperationCounts made = OperationsSince(before);
    const auto iterations = static_cast<uint64_t>(state.iterations());
    if (made.fileOpens != iterations * static_cast<uint64_t>(nodeCount)) {
        state.SkipWithError("a check did not read every node exactly once");
    } else if (JournalCount("hal update ") != 0) {
        state.SkipWithError("the fixture reported a shortage");
    }
    state.SetComplexityN(nodeCount);
    state.counters["allocations"] =
        benchmark::Counter(static_cast<double>(made.allocations), benchmark::Counter::kAvgIterations);
}
BENCHMARK(DueCheck)->Arg(1)->Arg(8)->Arg(64)->Arg(512)->Complexity(benchmark::oN);

// The line as often as it fits in the bytes.
std::string Repeated(const std::string& line, size_t bytes)
{
    std::string text;
    while (text.size() + line.size() <= bytes) {
        text += line;
    }
    return text;
}

// The largest tree the bounds let through, read by a detector's first due check: node lists of
// 1024 items of 1024 ids each (a CDM list that removes none of them), and 1024 nodes whose meminfo
// fills 64 KiB with MemFree lines, the last of which counts. A meminfo with an invalid line costs
// less: its read ends there, and the check with it.
void WorstDueCheck(benchmark::State& state)
{
    const Probes::TempDir tree("memory-bench-");
    WriteFile(tree, "has_memory", Repeated("0-1023,", MAX_NUMA_NODES * 7));
    WriteFile(tree, "is_cdm_node", Repeated("2000-3023,", MAX_NUMA_NODES * 10));
    WriteFile(tree, "meminfo", Repeated("MemFree: 1 kB\n", MAX_SYSFS_FILE_BYTES));
    for (size_t node = 0; node < MAX_NUMA_NODES; ++node) {
        const std::string nodeDir = tree.Path() + "/node" + std::to_string(node);
        std::filesystem::create_directory(nodeDir);
        std::filesystem::create_hard_link(tree.Path() + "/meminfo", nodeDir + "/meminfo");
    }
    SensorNodeEventReporter reporter;
    // The probes count the CDM list's existence test, both node lists and every node.
    const OperationCounts before = OperationsOnThisThread();
    for (auto _ : state) {
        MemoryShortageDetector detector(tree.Path(), &PeriodPerReading);
        detector.Check(reporter);  // starts the period
        detector.Check(reporter);  // the due check
    }
    if (OperationsSince(before).fileOpens != static_cast<uint64_t>(state.iterations()) * (MAX_NUMA_NODES + 3)) {
        state.SkipWithError("a check did not read both node lists and every node");
    }
}
BENCHMARK(WorstDueCheck)->Unit(benchmark::kMillisecond);

// The daemon's own read of node 0, on this machine's sysfs; its libnuma peer stands beside it.
void NodeZeroFreeMemory(benchmark::State& state)
{
    uint64_t freeKb = 0;
    if (!GetNumaNodeFreeMemory(0, freeKb)) {
        state.SkipWithError("node 0 of this machine has no readable meminfo");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(GetNumaNodeFreeMemory(0, freeKb));
    }
    state.counters["free_kb"] = static_cast<double>(freeKb);
}
BENCHMARK(NodeZeroFreeMemory);

void ParseNodeListItem(benchmark::State& state, const char* item, size_t expectedIds)
{
    if (GetNumaNodeList(item).size() != expectedIds) {
        state.SkipWithError("the item does not yield the expected ids");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(GetNumaNodeList(item));
    }
}
BENCHMARK_CAPTURE(ParseNodeListItem, single, "0", 1);
BENCHMARK_CAPTURE(ParseNodeListItem, range, "0-7", 8);
BENCHMARK_CAPTURE(ParseNodeListItem, last_item_of_file, "0-63\n", 64);

void ReadNodeListFile(benchmark::State& state, const std::string& path, size_t expectedIds)
{
    if (GetHasMemoryNumaNodes(path).size() != expectedIds) {
        state.SkipWithError("the file does not yield the expected ids");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(GetHasMemoryNumaNodes(path));
    }
}

void ReadNodeListFixture(benchmark::State& state)
{
    const Probes::TempDir dir("memory-bench-");
    WriteFile(dir, "has_memory", "0-3,5,8-11,16-31\n");
    ReadNodeListFile(state, dir.Path() + "/has_memory", 25);
}
BENCHMARK(ReadNodeListFixture);

void ReadNodeListOfThisMachine(benchmark::State& state)
{
    const std::string path = std::string(SYSFS_NODE_DIR) + "/has_normal_memory";
    const size_t ids = GetHasMemoryNumaNodes(path).size();
    if (ids == 0) {
        state.SkipWithError("this machine lists no node of normal memory");
        return;
    }
    ReadNodeListFile(state, path, ids);
}
BENCHMARK(ReadNodeListOfThisMachine);

}  // namespace
}  // namespace ProcMgr::Bench
