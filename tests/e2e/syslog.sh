#!/usr/bin/env bash
# The reporter's records leave through syslog with priorities 0x16B and 0x16E, one for every failing
# HAL call, registration and device count, usable or not. The namespace's /dev is a fresh tmpfs, so
# that our listener owns /dev/log without touching the machine's.
source "$(dirname "$0")/lib.sh"
require_namespace "binds a socket at /dev/log"
[ -n "${E2E_IN_NAMESPACE:-}" ] || { rm -rf "$E2E_TMP" && exec env E2E_IN_NAMESPACE=1 unshare -m --propagation private bash "$0"; }

mount -t tmpfs tmpfs /dev && mknod -m 666 /dev/null c 1 3 && ln -s /proc/self/fd /dev/fd || fail "cannot set up /dev"
python3 -c 'import socket, sys; s = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM); s.bind("/dev/log")
for datagram in iter(lambda: s.recv(65536), None): print(datagram.decode(errors="replace"), flush=True)' >"$E2E_TMP/syslog" 2>&1 &
await "the syslog listener's socket" 5 [ -S /dev/log ]

printf '%s\n' "app camera 0x1234 0" "app radar 0x2201 1" "app a1234567890123456789 5 1" \
  "state camera 1 HEART_BEAT_LOST" "state radar 2 HEART_BEAT_LOST" "state radar 2 HEART_BEAT_LOST" \
  "state a1234567890123456789 3 SWITCH_ON" "state camera 1 ACTIVELY_EXIT" >"$E2E_TMP/script"
start_daemon PLATFORM_SIM_HAL_DEVICES=3 PLATFORM_SIM_HAL_FAIL=register@1,update@0,unregister@0 \
  PLATFORM_SIM_GRP_SCRIPT="$E2E_TMP/script"
wait_for_line '^grp callback app=camera pid=1 state=5 '
stop_daemon TERM
expect_count '^hal update dev=0 handle=5 ' 1  # a report that failed everywhere is not sent again
# Devices and drvGetDevNum's result: 128 devices are taken, an unusable answer leaves device 0 alone.
for run in "4 5" "128 0" "129 0" "0 0"; do
  start_daemon PLATFORM_SIM_HAL_DEVICES="${run% *}" PLATFORM_SIM_HAL_DEVNUM_RET="${run#* }"
  wait_for_line '^grp SetRunning 1$'
  stop_daemon TERM
done

sleep 0.2
differences=$(diff <(sed -E 's/^(<[0-9]+>).*: SensorNode/\1 SensorNode/' "$E2E_TMP/syslog") "${0%.sh}.expected") || fail "syslog differs (< received, > expected):
$differences"
echo "PASS: syslog records"
