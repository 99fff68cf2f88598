#!/usr/bin/env bash
# SIGTERM while 64 threads deliver state changes, each alternating a lost (2) and a recovered (3)
# heartbeat of its own application: every change is handled in full, also those that come between
# the unregistration of every node at stop and the service's stop, where the stand-in holds back
# one lost heartbeat of "late" in every run (its node is registered again and its restart asked
# for); the unregistration takes every node registered before it, and no HAL call follows the stop.
source "$(dirname "$0")/lib.sh"

# The script is a FIFO fed without end, so that changes are in flight whenever the signal comes,
# however slow the build (a sanitizer) makes the daemon.
mkfifo "$E2E_TMP/script"
awk 'BEGIN { print "app late 0x1 0\nstop-state late 99 HEART_BEAT_LOST"
  for (app = 0; app < 64; app++) printf "app a%d 0x1 0\nstate a%d %d SWITCH_ON\n", app, app, app
  for (;;) { print "parallel 64"; for (i = 0; i < 4096; i++) printf "state a%d %d %d\n", i % 64, i, 2 + int(i / 64) % 2
    print "join" } }' >"$E2E_TMP/script" 2>/dev/null &
start_daemon PLATFORM_SIM_HAL_DEVICES=2 PLATFORM_SIM_GRP_SCRIPT="$E2E_TMP/script"
wait_for_line '^grp callback .* state=2 '
stop_daemon TERM

# The lines where the sweep begins and ends, and where the service has stopped.
read -r sweep swept < <(grep -n '^hal unregister ' "$JOURNAL" | cut -d: -f1 | sed -n '1h;${H;x;s/\n/ /p}')
stopped=$(grep -n '^grp Stop$' "$JOURNAL" | cut -d: -f1) && [ -n "$sweep" ] && [ -n "$stopped" ] || fail "no unregistration at stop, or no service stop"
registered=$(head -n "$sweep" "$JOURNAL" | grep -c '^hal register .* ret=0 ')
expect_count '^hal unregister ' "$registered"
sed -n "${stopped},\$p" "$JOURNAL" | grep '^hal ' && fail "a HAL call after the service stopped"
[ "$(sed -n "$swept,\$p" "$JOURNAL" | grep -cE '^(hal register dev=[01] name=late |grp callback app=late pid=99 state=2 result=1$)')" -eq 3 ] ||
  fail "late's registration on both devices and its answer 1 not all after the stop's unregistrations"
expect_count ' result=0$' 0
expect_count '^grp RestartApp ' "$(grep -c ' state=2 result=1$' "$JOURNAL")"
echo "PASS: every change handled, the one held back until the stop too; the stop takes every node registered before it"
