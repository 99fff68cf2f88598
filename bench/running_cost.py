#!/usr/bin/python3
"""The idle daemon's running cost, beside the floor that any daemon with a 200 ms loop pays.

Runs the built daemon on the stand-ins and bench/idle_floor (a loop that only reads the steady
clock and sleeps 200 ms) side by side for SECONDS (default 60), three instances of each, and prints
for both the CPU time per minute (summed over their threads from /proc/PID/task/TID/schedstat, in
nanoseconds), the voluntary context switches per second (one per wake-up of a sleeping loop) and
the peak RSS, and the private dirty memory at the window's end (after the daemon's first due
check, which comes 60 s after its loop starts), with the daemon's medians as ratios to, or
differences from, the floor's measured in the same run. Two
instances of the same program can differ by a third in CPU time per wake-up, depending on where
their wake-ups fall among the machine's other timers, hence the medians. Then it stops each
program 20 times with SIGTERM at points spread over the 200 ms sleep and prints the time from the
signal to the exit, median and maximum.

Usage: bench/running_cost.py [SECONDS] [--build-dir DIR] [--instances N] [--stop-runs N]
"""

import argparse
import os
import signal
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path
from typing import NamedTuple

ROOT = Path(__file__).resolve().parent.parent
LOOP_PERIOD_S = 0.2
READY_LINE = "grp SetRunning 1"
READY_TIMEOUT_S = 10.0
# Start-up (loading, registration) is left out of the measured window.
SETTLE_S = 1.0

CPU_RATIO_TARGET = 1.2
RSS_MARGIN_KIB = 1024
# What the first due check may leave dirty: about the files it read, not a buffer per file.
PRIVATE_DIRTY_MARGIN_KIB = 64
STOP_TARGET_MS = 210.0


class Sample(NamedTuple):
    cpu_ns: int
    voluntary_switches: int
    peak_rss_kib: int
    private_dirty_kib: int


class Failure(Exception):
    pass


def status_field(path: Path, field: str) -> int:
    for line in path.read_text().splitlines():
        if line.startswith(field + ":"):
            return int(line.split()[1])
    raise Failure(f"{path} has no {field}")


def sample(pid: int) -> Sample:
    """CPU time and voluntary switches summed over the live threads, and the process's peak RSS."""
    cpu_ns = 0
    switches = 0
    for task in Path(f"/proc/{pid}/task").iterdir():
        try:
            cpu_ns += int((task / "schedstat").read_text().split()[0])
            switches += status_field(task / "status", "voluntary_ctxt_switches")
        except FileNotFoundError:
            pass  # a thread that ended since the listing
    return Sample(cpu_ns, switches, status_field(Path(f"/proc/{pid}/status"), "VmHWM"),
                  status_field(Path(f"/proc/{pid}/smaps_rollup"), "Private_Dirty"))


class Program:
    """One run of the daemon (with a journal, ready once its loop runs) or of the floor loop."""

    def __init__(self, path: Path, workdir: Path, daemon: bool):
        self.daemon = daemon
        self.journal = workdir / f"journal-{time.monotonic_ns()}"
        env = dict(os.environ)
        if daemon:
            self.journal.touch()
            env["PLATFORM_SIM_JOURNAL"] = str(self.journal)
        with open(workdir / "stderr", "ab") as stderr:
            self.process = subprocess.Popen(
                [str(path)], env=env, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=stderr
            )

    def wait_ready(self) -> None:
        if not self.daemon:
            return
        deadline = time.monotonic() + READY_TIMEOUT_S
        while READY_LINE not in self.journal.read_text():
            if self.process.poll() is not None:
                raise Failure(f"the daemon ended with {self.process.returncode} before its loop ran")
            if time.monotonic() > deadline:
                raise Failure(f"the daemon did not reach its loop within {READY_TIMEOUT_S} s")
            time.sleep(0.01)

    def stop_ms(self) -> float:
        """Sends SIGTERM; the milliseconds until the process has exited with 0."""
        start = time.monotonic_ns()
        self.process.send_signal(signal.SIGTERM)
        code = self.process.wait()
        elapsed_ms = (time.monotonic_ns() - start) / 1e6
        if code != 0:
            raise Failure(f"{self.process.args[0]} exited with {code} after SIGTERM")
        return elapsed_ms

    def kill(self) -> None:
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()


def verdict(met: bool) -> str:
    return "met" if met else "MISSED"


class Idle(NamedTuple):
    """One program's figures over the window."""

    cpu_per_min_ms: float
    switches: int
    peak_rss_kib: int
    private_dirty_kib: int


def measure_idle(paths: dict, instances: int, seconds: float, workdir: Path) -> tuple:
    """Runs instances of each program side by side, interleaved; returns the window's length and
    the figures of every instance, by program name."""
    programs = [(name, Program(path, workdir, name == "daemon")) for _ in range(instances) for name, path in paths.items()]
    try:
        for _, program in programs:
            program.wait_ready()
        time.sleep(SETTLE_S)
        start = [sample(program.process.pid) for _, program in programs]
        window_start = time.monotonic()
        time.sleep(seconds)
        for name, program in programs:
            if program.process.poll() is not None:
                raise Failure(f"the {name} ended with {program.process.returncode} within the window")
        end = [sample(program.process.pid) for _, program in programs]
        window = time.monotonic() - window_start
        for _, program in programs:
            program.stop_ms()
    finally:
        for _, program in programs:
            program.kill()
    figures = {name: [] for name in paths}
    for (name, _), before, after in zip(programs, start, end):
        cpu_per_min_ms = (after.cpu_ns - before.cpu_ns) / 1e6 * 60.0 / window
        figures[name].append(Idle(cpu_per_min_ms, after.voluntary_switches - before.voluntary_switches,
                                  after.peak_rss_kib, after.private_dirty_kib))
    return window, figures


def spread(values: list, fmt: str) -> str:
    """The median, and the range over the instances when there are several."""
    median = format(statistics.median(values), fmt)
    if len(values) == 1:
        return median
    return f"{median} ({format(min(values), fmt)}..{format(max(values), fmt)})"


def print_idle(window: float, figures: dict) -> None:
    daemon, floor = figures["daemon"], figures["floor"]
    cpu = [statistics.median(run.cpu_per_min_ms for run in runs) for runs in (daemon, floor)]
    switches = [statistics.median(run.switches for run in runs) for runs in (daemon, floor)]
    peak_kib = [statistics.median(run.peak_rss_kib for run in runs) for runs in (daemon, floor)]
    dirty_kib = [statistics.median(run.private_dirty_kib for run in runs) for runs in (daemon, floor)]
    cpu_ratio = cpu[0] / cpu[1]
    # The loops are out of phase, so one may wake once more within the window.
    wakeups_equal = abs(switches[0] - switches[1]) <= 1
    rss_met = peak_kib[0] <= peak_kib[1] + RSS_MARGIN_KIB

    print(f"Idle running cost over {window:.1f} s, {len(daemon)} instances of each side by side: "
          "median (range)")
    print(f"{'CPU time per minute, ms':28}daemon {spread([r.cpu_per_min_ms for r in daemon], '.2f')}, "
          f"floor {spread([r.cpu_per_min_ms for r in floor], '.2f')}")
    print(f"{'':28}daemon/floor {cpu_ratio:.2f}, target <= {CPU_RATIO_TARGET}: {verdict(cpu_ratio <= CPU_RATIO_TARGET)}")
    print(f"{'wake-ups per second':28}daemon {switches[0] / window:.2f}, floor {switches[1] / window:.2f} "
          f"({switches[0]:g} vs {switches[1]:g} in the window), target equal: {verdict(wakeups_equal)}")
    print(f"{'peak RSS, KiB':28}daemon {spread([r.peak_rss_kib for r in daemon], '.0f')}, "
          f"floor {spread([r.peak_rss_kib for r in floor], '.0f')}")
    print(f"{'':28}daemon - floor {peak_kib[0] - peak_kib[1]:+g} KiB, target <= +{RSS_MARGIN_KIB}: "
          f"{verdict(rss_met)}")
    print(f"{'private dirty, KiB':28}daemon {spread([r.private_dirty_kib for r in daemon], '.0f')}, "
          f"floor {spread([r.private_dirty_kib for r in floor], '.0f')}")
    print(f"{'':28}daemon - floor {dirty_kib[0] - dirty_kib[1]:+g} KiB, target <= +{PRIVATE_DIRTY_MARGIN_KIB}: "
          f"{verdict(dirty_kib[0] <= dirty_kib[1] + PRIVATE_DIRTY_MARGIN_KIB)}")


def measure_stops(path: Path, runs: int, workdir: Path, daemon: bool) -> list:
    times = []
    for run in range(runs):
        program = Program(path, workdir, daemon)
        try:
            program.wait_ready()
            # Past the first tick, then a point that moves through the 200 ms sleep run by run.
            time.sleep(LOOP_PERIOD_S + LOOP_PERIOD_S * run / runs)
            times.append(program.stop_ms())
        finally:
            program.kill()
    return times


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("seconds", nargs="?", type=float, default=60.0, help="length of the idle window (60)")
    parser.add_argument("--build-dir", type=Path, default=ROOT / "build" / "bench", help="build/bench")
    parser.add_argument("--instances", type=int, default=3, help="instances of each program in the idle window (3)")
    parser.add_argument("--stop-runs", type=int, default=20, help="SIGTERM runs of each program (20)")
    args = parser.parse_args()
    daemon_path = args.build_dir / "bin" / "proc_launcher"
    floor_path = args.build_dir / "bin" / "idle_floor"
    for path in (daemon_path, floor_path):
        if not os.access(path, os.X_OK):
            print(f"running_cost: {path} is missing; build the bench preset first", file=sys.stderr)
            return 1

    print(f"load average before: {Path('/proc/loadavg').read_text().strip()}")
    try:
        with tempfile.TemporaryDirectory(prefix="running-cost-") as workdir:
            print_idle(*measure_idle({"daemon": daemon_path, "floor": floor_path}, args.instances, args.seconds,
                                     Path(workdir)))
            print()
            print(f"{f'SIGTERM to exit over {args.stop_runs} runs':30}{'median':>10}{'max':>11}  target")
            for name, path, daemon in (("daemon", daemon_path, True), ("floor", floor_path, False)):
                times = measure_stops(path, args.stop_runs, Path(workdir), daemon)
                median, peak = statistics.median(times), max(times)
                met = median <= STOP_TARGET_MS and peak <= STOP_TARGET_MS
                print(
                    f"{name:30}{median:>7.1f} ms{peak:>8.1f} ms  <= {STOP_TARGET_MS:.0f} ms: "
                    f"{verdict(met) if daemon else '(reference)'}"
                )
    except Failure as failure:
        print(f"running_cost: {failure}", file=sys.stderr)
        return 1
    print(f"load average after:  {Path('/proc/loadavg').read_text().strip()}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
