#!/usr/bin/env bash
# SIGTERM while 64 threads deliver state changes, each alternating a lost (2) and a recovered (3)
# heartbeat of its own application: a change that comes once shut-down has begun is refused without
# a restart, and no node outlives the daemon at the HAL. Every node is on 16 devices before the
# threads start, so that unregistering them at stop takes long enough to catch changes in between.
source "$(dirname "$0")/lib.sh"

# The script is a FIFO fed without end, so that changes are in flight whenever the signal comes,
# however slow the build (a sanitizer) makes the daemon.
mkfifo "$E2E_TMP/script"
awk 'BEGIN {
  for (app = 0; app < 64; app++) printf "app a%d 0x1 0\nstate a%d %d SWITCH_ON\n", app, app, app
  for (;;) {
    print "parallel 64"
    for (i = 0; i < 4096; i++) printf "state a%d %d %d\n", i % 64, i, 2 + int(i / 64) % 2
    print "join"
  }
}' >"$E2E_TMP/script" 2>/dev/null &
start_daemon PLATFORM_SIM_HAL_DEVICES=16 PLATFORM_SIM_GRP_SCRIPT="$E2E_TMP/script"
wait_for_line '^grp callback .* state=2 '
stop_daemon TERM

registered=$(sed -En 's/^hal register (dev=[0-9]+) .* ret=0 (handle=[0-9]+)$/\1 \2/p' "$JOURNAL" | sort)
unregistered=$(sed -En 's/^hal unregister (dev=[0-9]+ handle=[0-9]+) .*/\1/p' "$JOURNAL" | sort)
[ "$registered" = "$unregistered" ] ||
  fail "left at the HAL: $(comm -23 <(echo "$registered") <(echo "$unregistered") | tr '\n' ' ')"
grep -q 'result=0$' "$JOURNAL" || fail "no state change came after shut-down began"
expect_count '^grp RestartApp ' "$(grep -c 'state=2 result=1$' "$JOURNAL")"
echo "PASS: no node outlives the daemon, and late changes are refused"
