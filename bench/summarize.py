#!/usr/bin/python3
"""Reads the JSON results of the benchmark tests and prints every benchmark's median and the
microbenchmark targets, met or missed; with --plot it draws the due check's cost against the node
count (needs python3-matplotlib).

Single-threaded targets are judged on CPU time (the thread's own time, kernel time included), so
that the time slices of other processes on a shared machine are not charged to our code.

Usage: bench/summarize.py [--results-dir build/bench/bench] [--plot FILE.png]
"""

import argparse
import json
import math
import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
NS_PER_UNIT = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}

IDLE_TICK = "CheckOsMemoryIdleTick"
IDLE_TICK_TARGET_NS = 50.0
DUE_CHECK = "DueCheck"
DUE_CHECK_8_TARGET_NS = 100e3
# A power law t ~ N^k fitted through the due checks counts as linear growth for k in this band.
LINEAR_EXPONENT_BAND = (0.9, 1.1)
OUR_READ = "NodeZeroFreeMemory"
PEER_READ = "NodeZeroFreeMemoryLibnuma"


def load_medians(results_dir: Path) -> dict:
    """Benchmark name -> its median run (the single run when there were no repetitions)."""
    medians = {}
    for path in sorted(results_dir.glob("*.json")):
        for entry in json.loads(path.read_text())["benchmarks"]:
            name = entry["run_name"]
            if entry.get("error_occurred"):
                raise SystemExit(f"summarize: {name} failed: {entry.get('error_message')}")
            if entry.get("aggregate_name") == "median" or (
                entry["run_type"] == "iteration" and entry.get("repetitions", 1) <= 1
            ):
                medians[name] = entry
    if not medians:
        raise SystemExit(f"summarize: no results in {results_dir}; run the bench preset first")
    return medians


def ns(entry: dict, key: str = "cpu_time") -> float:
    return entry[key] * NS_PER_UNIT[entry["time_unit"]]


def show(nanoseconds: float) -> str:
    for unit, scale in (("ms", 1e6), ("us", 1e3)):
        if nanoseconds >= scale:
            return f"{nanoseconds / scale:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def due_checks(medians: dict) -> list:
    """(node count, median CPU time in ns) of every due check, smallest tree first."""
    points = []
    for name, entry in medians.items():
        if name.startswith(DUE_CHECK + "/"):
            points.append((int(name.split("/")[1]), ns(entry)))
    return sorted(points)


def power_law(points: list) -> tuple:
    """Least-squares fit of log t = log c + k log N; returns (c, k)."""
    xs = [math.log(nodes) for nodes, _ in points]
    ys = [math.log(cost) for _, cost in points]
    mean_x, mean_y = sum(xs) / len(xs), sum(ys) / len(ys)
    k = sum((x - mean_x) * (y - mean_y) for x, y in zip(xs, ys)) / sum((x - mean_x) ** 2 for x in xs)
    return math.exp(mean_y - k * mean_x), k


def print_medians(medians: dict) -> None:
    print(f"{'benchmark':48}{'real time':>12}{'CPU time':>12}  counters")
    # Numbers in names sort by value: DueCheck/8 before DueCheck/64.
    def natural(item: tuple) -> list:
        return [int(part) if part.isdigit() else part for part in re.split(r"(\d+)", item[0])]

    for name, entry in sorted(medians.items(), key=natural):
        counters = {
            key: value
            for key, value in entry.items()
            if key in ("allocations", "locks", "file_opens", "items_per_second")
        }
        shown = " ".join(f"{key}={value:.4g}" for key, value in counters.items())
        print(f"{name:48}{show(ns(entry, 'real_time')):>12}{show(ns(entry)):>12}  {shown}")


def target_rows(medians: dict) -> list:
    """(what, measured, target, met) for every target whose benchmarks ran."""
    rows = []
    idle = medians.get(IDLE_TICK)
    if idle:
        rows.append(("idle tick (CheckOsMemory)", show(ns(idle)), f"< {show(IDLE_TICK_TARGET_NS)}",
                     ns(idle) < IDLE_TICK_TARGET_NS))
        made = {key: idle.get(key, math.nan) for key in ("allocations", "locks", "file_opens")}
        rows.append(("idle tick: allocations, locks, file opens", " ".join(f"{v:g}" for v in made.values()),
                     "0 0 0", all(value == 0 for value in made.values())))
    points = due_checks(medians)
    eight = dict(points).get(8)
    if eight is not None:
        rows.append(("due check, 8 nodes", show(eight), f"< {show(DUE_CHECK_8_TARGET_NS)}",
                     eight < DUE_CHECK_8_TARGET_NS))
    if len(points) >= 3:
        _, exponent = power_law(points)
        low, high = LINEAR_EXPONENT_BAND
        rows.append((f"due check growth over {points[0][0]}..{points[-1][0]} nodes", f"N^{exponent:.3f}",
                     f"N^k, {low} <= k <= {high}", low <= exponent <= high))
    if OUR_READ in medians and PEER_READ in medians:
        ours, peer = ns(medians[OUR_READ]), ns(medians[PEER_READ])
        rows.append(("node 0 read: ours / libnuma's", f"{show(ours)} / {show(peer)}", "ours <= libnuma's",
                     ours <= peer))
    return rows


def print_targets(rows: list) -> None:
    print(f"{'target':48}{'measured':>22}  {'wanted':24}verdict")
    for what, measured, wanted, met in rows:
        print(f"{what:48}{measured:>22}  {wanted:24}{'met' if met else 'MISSED'}")


def plot(points: list, path: Path) -> None:
    try:
        import matplotlib

        matplotlib.use("Agg")
        import matplotlib.pyplot as plt
    except ImportError:
        raise SystemExit("summarize: --plot needs Debian's python3-matplotlib")

    scale, exponent = power_law(points)
    nodes = [n for n, _ in points]
    micros = [cost / 1e3 for _, cost in points]
    figure, axes = plt.subplots(figsize=(6.4, 4.2), dpi=110)
    axes.loglog(nodes, micros, "o", label="median CPU time of one due check")
    for n, cost in points:
        axes.annotate(show(cost), (n, cost / 1e3), textcoords="offset points", xytext=(8, -4), fontsize=8)
    fitted = [scale * n**exponent / 1e3 for n in nodes]
    axes.loglog(nodes, fitted, "-", alpha=0.6, label=f"fit: {scale / 1e3:.2f} us x N^{exponent:.3f}")
    axes.axhline(DUE_CHECK_8_TARGET_NS / 1e3, color="grey", linestyle=":", label="8-node target: 100 us")
    axes.set_xscale("log", base=2)
    axes.set_xlim(0.7, 900)
    axes.set_xticks(nodes, [str(n) for n in nodes])
    axes.set_xlabel("NUMA nodes in the fixture tree")
    axes.set_ylabel("microseconds per due check")
    axes.set_title("Due check of the OS memory against the node count")
    axes.grid(True, which="both", alpha=0.3)
    axes.legend()
    figure.tight_layout()
    path.parent.mkdir(parents=True, exist_ok=True)
    figure.savefig(path)
    print(f"plot: {path}")


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--results-dir", type=Path, default=ROOT / "build" / "bench" / "bench")
    parser.add_argument("--plot", type=Path, help="draw the due check's cost against the node count here")
    args = parser.parse_args()
    medians = load_medians(args.results_dir)
    print_medians(medians)
    print()
    print_targets(target_rows(medians))
    if args.plot:
        points = due_checks(medians)
        if len(points) < 2:
            print("summarize: fewer than two due checks, nothing to plot", file=sys.stderr)
            return 1
        plot(points, args.plot)
    return 0


if __name__ == "__main__":
    sys.exit(main())
