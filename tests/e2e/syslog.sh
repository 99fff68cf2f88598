#!/usr/bin/env bash
# The reporter's records really leave the process through syslog, with facility 45 and the levels
# error (0x16B) and info (0x16E). Runs the daemon in a private mount namespace whose /dev is a
# fresh tmpfs, so that our listener can own /dev/log without touching the machine's.
source "$(dirname "$0")/lib.sh"
require_namespace "binds a socket at /dev/log in a private mount namespace"

SYSLOG="$E2E_TMP/syslog"
: >"$JOURNAL"
cat >"$E2E_TMP/inside.sh" <<'INSIDE'
set -eu
mkdir "$E2E_TMP/dev"
mount --bind /dev "$E2E_TMP/dev"
mount -t tmpfs tmpfs /dev
touch /dev/null && mount --bind "$E2E_TMP/dev/null" /dev/null
"${EMULATOR[@]}" "$E2E_LISTENER" /dev/log "$SYSLOG" &
listener=$!
for _ in $(seq 100); do grep -q listening "$SYSLOG" 2>/dev/null && break; sleep 0.05; done
env PLATFORM_SIM_JOURNAL="$JOURNAL" PLATFORM_SIM_HAL_DEVICES=2 PLATFORM_SIM_HAL_FAIL=register@1 \
  "${EMULATOR[@]}" "$E2E_DAEMON" </dev/null 2>"$DAEMON_STDERR" &
daemon=$!
for _ in $(seq 200); do grep -q '^grp SetRunning 1$' "$JOURNAL" && break; sleep 0.05; done
kill -TERM "$daemon"
wait "$daemon"
sleep 0.2
kill -TERM "$listener"
wait "$listener" || true
INSIDE
export E2E_TMP JOURNAL SYSLOG DAEMON_STDERR E2E_DAEMON E2E_LISTENER E2E_EMULATOR
unshare -m --propagation private bash -c 'read -r -a EMULATOR <<<"${E2E_EMULATOR:-}"; source "$E2E_TMP/inside.sh"' ||
  fail "the namespace run failed"

for record in '<363>.*SensorNodeEventReporter RegisterSensorNode for os-memory failed\. \(ret=7\)' \
  '<366>.*SensorNodeEventReporter RegisterSensorNode for os-memory success, nodeType=0x617, sensorType=0xd0, reportIds size=2' \
  '<366>.*SensorNodeEventReporter GetDeviceNum success\. devNum=2'; do
  grep -Eq "^$record\$" "$SYSLOG" || fail "no syslog record '$record'; syslog got: $(cat "$SYSLOG")"
done
echo "PASS: syslog records leave the daemon with priorities 0x16B and 0x16E"
