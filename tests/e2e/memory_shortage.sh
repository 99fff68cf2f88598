#!/usr/bin/env bash
# The daemon's memory check on a fixture tree bind-mounted over /sys/devices/system/node in a
# private mount namespace, with libfaketime running the clock 30 times faster (60 s pass in 2 s): a
# shortage reaches the HAL, and hostile trees neither hold up a stop nor grow the daemon.
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
# A shortage on the OS nodes (2 and 3 hold coherent device memory) reaches both devices with fault 1.
mkdir -p "$NODES"/node{0,1} && printf '0-3\n' >"$NODES/has_memory" && printf '2-3\n' >"$NODES/is_cdm_node"
printf 'Node 0 MemFree:    600 kB\n' >"$NODES/node0/meminfo" && printf 'MemFree: 400 kB\n' >"$NODES/node1/meminfo"
run_in_namespace
wait_for_line '^hal update dev=1 handle=2 fault=1 event=1 ret=0$' 10
stop_daemon TERM 300
expect_count 'numa node [01] is managed by os\.$' 2 && expect_count 'is managed by os' 2
expect_count '^hal update dev=[01] handle=[12] fault=1 event=1 ret=0$' 2

# Hostile trees: SIGTERM while a due check is at work stops the daemon within 300 ms, and its peak
# RSS stays under 16 MiB.
hostile_tree() {
  rm -rf "$NODES" && mkdir -p "$NODES/node0" && printf '0\n' >"$NODES/has_normal_memory"
  case $1 in
    endless) ln -s /dev/urandom "$NODES/node0/meminfo" ;;
    ranges) awk 'BEGIN { for (i = 0; i < 5000; i++) printf "%d-%d,", i * 1024, i * 1024 + 1023 }' |
      head -c 65536 >"$NODES/has_normal_memory" ;;
    nul) head -c 65536 /dev/zero >"$NODES/node0/meminfo" && head -c 65536 /dev/zero >"$NODES/has_normal_memory" ;;
    fifo) mkfifo "$NODES/node0/meminfo" && exec 3<>"$NODES/node0/meminfo" ;;
    directory) mkdir "$NODES/node0/meminfo" ;;
  esac
}
for tree in endless ranges nul fifo directory; do
  hostile_tree "$tree"
  run_in_namespace
  wait_for_line 'Get numa node ' 10
  sleep 0.2
  peak_kb=$(awk '/^VmHWM:/ { print $2 }' "/proc/$DAEMON_PID/status")
  { sleep 2 && kill -KILL "$DAEMON_PID"; } 2>/dev/null &  # a daemon that ignores the signal fails, not hangs
  stop_daemon TERM 300
  echo "$tree: stopped in $STOP_MS ms, peak RSS $peak_kb KB"
  [ "$peak_kb" -lt 16384 ] || fail "peak RSS $peak_kb KB on the $tree tree"
  exec 3>&-
done
echo "PASS: memory shortage; hostile trees"
