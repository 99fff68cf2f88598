#!/usr/bin/env bash
# The daemon's own detector gives up a long check when a stop signal comes: on a fixture tree of
# 1024 nodes of 64 KiB meminfo files, each a shortage of 1 kB, bind-mounted over
# /sys/devices/system/node in a private mount namespace, with libfaketime running the clock 30 times
# faster (60 s pass in 2 s), SIGTERM during the first due check stops the daemon within 300 ms,
# without a verdict, and its peak RSS stays under 16 MiB. (The readers' bounds are the unit tests',
# hostile files and a month of checks the long run's, a real shortage on real kernels the vm-arm64
# job's.)
source "$(dirname "$0")/lib.sh"
require_node_tree
NODES=$E2E_TMP/nodes && mkdir -p "$NODES" && printf '0-1023\n' >"$NODES/has_normal_memory"
yes 'MemFree: 1 kB' | head -c 65534 >"$NODES/meminfo"
for node in {0..1023}; do mkdir -p "$NODES/node$node" && ln -sf ../meminfo "$NODES/node$node/meminfo"; done
start_in_node_tree "$NODES" PLATFORM_SIM_HAL_DEVICES=2 FAKETIME="+0 x30"
wait_for_line 'Get numa node ' 10
peak_kb=$(status VmHWM)
stop_daemon TERM 300
[ "$peak_kb" -lt 16384 ] || fail "peak RSS $peak_kb KB"
nodes_read=$(grep -c 'free memory Success' "$JOURNAL"); [ "$nodes_read" -lt 1024 ] || fail "the check read all 1024 nodes after the signal"
expect_count '^hal update ' 0
echo "PASS: stopped in $STOP_MS ms, peak RSS $peak_kb KB; the check gave up after $nodes_read of 1024 nodes"
