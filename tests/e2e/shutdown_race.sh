#!/usr/bin/env bash
# SIGTERM while 64 threads deliver state changes, each alternating a lost (2) and a recovered (3)
# heartbeat of its own application: every change is handled in full, also one that comes between
# the unregistration of every node at stop and the service's stop (its node is registered again);
# the unregistration takes every node registered before it, and no HAL call follows the stop.
source "$(dirname "$0")/lib.sh"

# The script is a FIFO fed without end, so that changes are in flight whenever the signal comes,
# however slow the build (a sanitizer) makes the daemon.
mkfifo "$E2E_TMP/script"
awk 'BEGIN { for (app = 0; app < 64; app++) printf "app a%d 0x1 0\nstate a%d %d SWITCH_ON\n", app, app, app
  for (;;) { print "parallel 64"; for (i = 0; i < 4096; i++) printf "state a%d %d %d\n", i % 64, i, 2 + int(i / 64) % 2
    print "join" } }' >"$E2E_TMP/script" 2>/dev/null &
start_daemon PLATFORM_SIM_HAL_DEVICES=2 PLATFORM_SIM_GRP_SCRIPT="$E2E_TMP/script"
wait_for_line '^grp callback .* state=2 '
stop_daemon TERM

# The lines where the sweep begins and where the service has stopped.
sweep=$(grep -n -m1 '^hal unregister ' "$JOURNAL" | cut -d: -f1) && stopped=$(grep -n '^grp Stop$' "$JOURNAL" | cut -d: -f1)
[ -n "$sweep" ] && [ -n "$stopped" ] || fail "no unregistration at stop, or no service stop"
registered=$(sed -En "1,${sweep}s/^hal register (dev=[0-9]+) .* ret=0 (handle=[0-9]+)$/\1 \2/p" "$JOURNAL" | sort)
unregistered=$(sed -En 's/^hal unregister (dev=[0-9]+ handle=[0-9]+) .*/\1/p' "$JOURNAL" | sort)
[ "$registered" = "$unregistered" ] ||
  fail "the stop missed: $(comm -23 <(echo "$registered") <(echo "$unregistered") | tr '\n' ' ')"
sed -n "${stopped},\$p" "$JOURNAL" | grep '^hal ' && fail "a HAL call after the service stopped"
expect_count ' result=0$' 0
expect_count '^grp RestartApp ' "$(grep -c ' state=2 result=1$' "$JOURNAL")"
echo "PASS: every change handled; the stop takes every node registered before it, and no HAL call follows it"
