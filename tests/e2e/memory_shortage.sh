#!/usr/bin/env bash
# The daemon's memory check on fixture trees bind-mounted over /sys/devices/system/node in a private
# mount namespace, with libfaketime running the clock 30 times faster (60 s pass in 2 s): a FIFO held
# open neither holds up a stop nor grows the daemon, and a stop gives up a long check on a large
# valid tree without a verdict. (The readers' bounds are the unit tests', a real shortage on real
# kernels is the vm-arm64 job's.)
source "$(dirname "$0")/lib.sh"
require_namespace "bind-mounts a fixture tree over /sys/devices/system/node"
# The sanitizer and cross presets say why libfaketime cannot work there.
[ -z "${E2E_NO_FAKETIME:-}" ] || skip "$E2E_NO_FAKETIME"
[ -z "${E2E_EMULATOR:-}" ] || skip "libfaketime cannot steer the clock of an emulated binary"
FAKETIME_LIB=$(ls /usr/lib/*/faketime/libfaketimeMT.so.1 2>/dev/null | head -n 1)
[ -n "$FAKETIME_LIB" ] || fail "libfaketime is not installed (Debian package faketime)"
NODES=$E2E_TMP/nodes

# unshare execs bash, which execs the daemon: the background job's pid is the daemon's.
run_in_namespace() {
  : >"$JOURNAL"
  export NODES JOURNAL DAEMON_STDERR E2E_DAEMON FAKETIME_LIB
  unshare -m --propagation private bash -c '
    mount --bind "$NODES" /sys/devices/system/node &&
      exec env PLATFORM_SIM_JOURNAL="$JOURNAL" PLATFORM_SIM_HAL_DEVICES=2 LD_PRELOAD="$FAKETIME_LIB" \
        FAKETIME="+0 x30" "$E2E_DAEMON" </dev/null 2>"$DAEMON_STDERR"' &
  DAEMON_PID=$!
}
# SIGTERM while a due check is at work stops the daemon within 300 ms, and its peak RSS stays under
# 16 MiB. The large tree holds 1024 nodes of 64 KiB meminfo files, each a shortage of 1 kB.
for tree in fifo large; do
  rm -rf "$NODES" && mkdir -p "$NODES/node0" && printf '0-1023\n' >"$NODES/has_normal_memory"
  if [ "$tree" = fifo ]; then
    mkfifo "$NODES/node0/meminfo" && exec 3<>"$NODES/node0/meminfo"
  else
    yes 'MemFree: 1 kB' | head -c 65534 >"$NODES/meminfo"
    for node in {0..1023}; do mkdir -p "$NODES/node$node" && ln -sf ../meminfo "$NODES/node$node/meminfo"; done
  fi
  run_in_namespace
  wait_for_line 'Get numa node ' 10
  [ "$tree" = large ] || sleep 0.2
  peak_kb=$(awk '/^VmHWM:/ { print $2 }' "/proc/$DAEMON_PID/status")
  { sleep 2 && kill -KILL "$DAEMON_PID"; } 2>/dev/null &  # a daemon that ignores the signal fails, not hangs
  stop_daemon TERM 300
  echo "$tree: stopped in $STOP_MS ms, peak RSS $peak_kb KB"
  [ "$peak_kb" -lt 16384 ] || fail "peak RSS $peak_kb KB on the $tree tree"
  exec 3>&-
done
nodes_read=$(grep -c 'free memory Success' "$JOURNAL")
[ "$nodes_read" -lt 1024 ] || fail "the check read all 1024 nodes after the signal"
expect_count '^hal update ' 0
echo "PASS: a FIFO held open and a large tree; its check gave up after $nodes_read of 1024 nodes"
