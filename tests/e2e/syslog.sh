#!/usr/bin/env bash
# The reporter's records leave through syslog with priorities 0x16B and 0x16E (facility 45, error or
# info), one for every failing HAL call, registration and device count, usable or not. They are caught
# as scripts/run catches them, on the /dev/log of a /dev of the namespace's own.
source "$(dirname "$0")/lib.sh"
require_namespace "binds a socket at /dev/log"
[ -n "${E2E_IN_NAMESPACE:-}" ] || { rm -rf "$E2E_TMP" && exec env E2E_IN_NAMESPACE=1 unshare -m --propagation private bash "$0"; }

source "$(dirname "$0")/../../scripts/lib/private-dev.sh" && private_dev || fail "cannot set up /dev"
python3 "$(dirname "$0")/../../scripts/lib/syslog_catcher.py" /dev/log >"$E2E_TMP/syslog" 2>&1 &
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
differences=$(diff <(cut -d' ' -f3- "$E2E_TMP/syslog") "${0%.sh}.expected") || fail "syslog differs (< received, > expected):
$differences"
echo "PASS: syslog records"
