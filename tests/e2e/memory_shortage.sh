#!/usr/bin/env bash
# The memory detector against a fixture sysfs tree bind-mounted over /sys/devices/system/node in
# a private mount namespace, with libfaketime running the clock 30 times faster so that a 60 s
# period passes in 2 s: a shortage reaches every device once with fault 1, the band leaves it
# standing, plenty of memory clears it; hostile trees neither hold up a stop nor grow the daemon.
source "$(dirname "$0")/lib.sh"
require_namespace "bind-mounts a fixture tree over /sys/devices/system/node"
# The sanitizer and cross presets say why libfaketime cannot work there; the checks after it
# cover runs of ctest without a preset.
[ -z "${E2E_NO_FAKETIME:-}" ] || skip "$E2E_NO_FAKETIME"
[ -z "${E2E_EMULATOR:-}" ] || skip "libfaketime cannot steer the clock of an emulated binary"
! ldd "$E2E_DAEMON" 2>/dev/null | grep -Eq 'lib(a|t)san' || skip "libfaketime cannot be preloaded ahead of a sanitizer runtime"
FAKETIME_LIB=$(ls /usr/lib/*/faketime/libfaketimeMT.so.1 2>/dev/null | head -n 1)
[ -n "$FAKETIME_LIB" ] || fail "libfaketime is not installed (Debian package faketime)"
PERIOD_S=2  # 60 s of daemon time, at 30 times the speed

# write_meminfo NODE FREE_KB
write_meminfo() {
  mkdir -p "$NODES/node$1"
  printf 'Node %s MemTotal:       8388608 kB\nNode %s MemFree:        %s kB\nNode %s MemUsed:        1024 kB\n' \
    "$1" "$1" "$2" "$1" >"$NODES/node$1/meminfo.new"
  mv "$NODES/node$1/meminfo.new" "$NODES/node$1/meminfo"
}

# Runs the daemon in the background under faketime, with the fixture over the real path.
run_in_namespace() {
  : >"$JOURNAL"
  export NODES JOURNAL DAEMON_STDERR E2E_DAEMON FAKETIME_LIB
  unshare -m --propagation private bash -c '
    set -eu
    mount --bind "$NODES" /sys/devices/system/node
    exec env PLATFORM_SIM_JOURNAL="$JOURNAL" PLATFORM_SIM_HAL_DEVICES=2 \
      LD_PRELOAD="$FAKETIME_LIB" FAKETIME="+0 x30" "$E2E_DAEMON" </dev/null 2>"$DAEMON_STDERR"' &
  DAEMON_PID=$!
}

NODES="$E2E_TMP/nodes"
mkdir -p "$NODES"
printf '0-3\n' >"$NODES/has_memory"
printf '0-3\n' >"$NODES/has_normal_memory"
printf '2-3\n' >"$NODES/is_cdm_node"
write_meminfo 0 600
write_meminfo 1 400
write_meminfo 2 50000000
write_meminfo 3 50000000

started=$(now_ms)
run_in_namespace
wait_for_line 'numa node 1 is managed by os\.$' $((PERIOD_S * 4))
first_check_ms=$(($(now_ms) - started))
wait_for_line '^hal update dev=1 handle=2 fault=1 event=1 ret=0$' 5
expect_in_order \
  'numa node 0 is managed by os\.$' \
  'numa node 1 is managed by os\.$' \
  'Get numa node free memory Success\. \(node=0,freeSize=600KB\)$' \
  'Get numa node free memory Success\. \(node=1,freeSize=400KB\)$' \
  '^hal update dev=0 handle=1 fault=1 event=1 ret=0$' \
  '^hal update dev=1 handle=2 fault=1 event=1 ret=0$'
expect_count 'node=2,' 0

write_meminfo 0 10000
write_meminfo 1 10000
wait_for_line 'Not need reporting system memory shortage\. \(freeSize=20000KB\)$' $((PERIOD_S * 3))
write_meminfo 0 40000
wait_for_line '^hal update dev=1 handle=2 fault=1 event=0 ret=0$' $((PERIOD_S * 3))
expect_in_order \
  '^hal update dev=1 handle=2 fault=1 event=1 ret=0$' \
  'Not need reporting system memory shortage\. \(freeSize=20000KB\)$' \
  '^hal update dev=0 handle=1 fault=1 event=0 ret=0$' \
  '^hal update dev=1 handle=2 fault=1 event=0 ret=0$'
expect_count '^hal update ' 4
stop_daemon TERM 300
total_ms=$(($(now_ms) - started))

# Hostile trees: SIGTERM while a due check is at work stops the daemon within 300 ms, and the
# peak RSS stays under 16 MiB. unshare execs bash, which execs the daemon: the background job's
# pid is the daemon's.
hostile_tree() {
  rm -rf "$NODES" && mkdir -p "$NODES/node0" && printf '0\n' >"$NODES/has_normal_memory"
  case $1 in
    endless) ln -s /dev/urandom "$NODES/node0/meminfo" ;;
    ranges) awk 'BEGIN { for (i = 0; i < 5000; i++) printf "%d-%d,", i * 1024, i * 1024 + 1023 }' |
      head -c 65536 >"$NODES/has_normal_memory" ;;
    nul) head -c 65536 /dev/zero >"$NODES/node0/meminfo"
      { printf 0 && head -c 65535 /dev/zero; } >"$NODES/has_normal_memory" ;;
    fifo) mkfifo "$NODES/node0/meminfo" && exec 3<>"$NODES/node0/meminfo" ;;
    directory) mkdir "$NODES/node0/meminfo" ;;
    many)
      printf '0-1023\n' >"$NODES/has_normal_memory"
      { for ((i = 0; i < 5955; i++)); do echo 'MemFree:kB'; done && echo 'MemFree: 1 kB'; } >"$NODES/invalid"
      mkdir -p "$NODES"/node{1..1023}
      for ((i = 0; i < 1024; i++)); do ln "$NODES/invalid" "$NODES/node$i/meminfo"; done ;;
  esac
}
for tree in endless ranges nul fifo directory many; do
  hostile_tree "$tree"
  run_in_namespace
  wait_for_line 'Get numa node ' $((PERIOD_S * 4))
  sleep 0.2
  peak_kb=$(awk '/^VmHWM:/ { print $2 }' "/proc/$DAEMON_PID/status")
  { sleep 2 && kill -KILL "$DAEMON_PID"; } 2>/dev/null &  # a daemon that ignores the signal fails, not hangs
  signalled=$(now_ms)
  stop_daemon TERM 300
  echo "$tree: stopped in $(($(now_ms) - signalled)) ms, peak RSS ${peak_kb} KB"
  [ "$peak_kb" -lt 16384 ] || fail "peak RSS ${peak_kb} KB on the $tree tree"
  exec 3>&-
done
echo "PASS: first check after ${first_check_ms} ms (60 s of daemon time); shortage, band and recovery in ${total_ms} ms"
