#!/usr/bin/env bash
# The signals, and the failed start-ups with their exit code (the whole journal of a normal run is
# the state-change test's, the device counts the syslog test's, the loop's period and a stop late in
# a sleep the long run's).
source "$(dirname "$0")/lib.sh"

CONFIGURE='grp Configure startupConfigPath=/etc/orv/base-plat/proc_launcher/proc_launcher_startup.yaml extraPath= resourcePath=/res/proc_launcher/ss firstFlag=0 secondFlag=1 extraValue=0'

start_daemon
wait_for_line '^grp SetRunning 1$'
# SIGPIPE changes nothing. Signalled just after a sleep began, the loop sleeps the rest of its 200 ms
# before it ends.
kill -PIPE "$DAEMON_PID" && await_tick && stop_daemon INT
[ "$STOP_MS" -ge 50 ] || fail "stopped within $STOP_MS ms of a tick: the signal cut the sleep short"

# A stop signal that comes while the service's Run runs (strace sends it as the daemon journals "grp
# Run", counted in the journal above): no tick, no sleep, the stop follows SetRunning at once.
# LeakSanitizer cannot work under a tracer, so an ASan build leaves its leak check to the other runs.
run=$(grep -nxm1 'grp Run' "$JOURNAL" | cut -d: -f1) && [ -n "$run" ] || fail "no 'grp Run' in the journal"
start_daemon ASAN_OPTIONS="${ASAN_OPTIONS:-}:detect_leaks=0" \
  strace -o "$E2E_TMP/trace" -r -P "$JOURNAL" -e trace=write -e inject=write:signal=TERM:when="$run"
wait_daemon 0 "a SIGTERM during Run"
[ "$(sed -n "${run}p" "$JOURNAL")" = "grp Run" ] || fail "the signal did not come during Run"
awk '/"grp SetRunning 1\\n"/ { getline; gap = $1 } END { exit !(gap != "" && gap < 0.1) }' "$E2E_TMP/trace" ||
  fail "the loop ran after a signal during Run"

# A failing Configure, then a failing Start: the service is stopped, nothing else, and the exit code is 1.
for failure in "CONFIGURE_RET=5|ret=5" "START_RET=3|ret=0\ngrp Start ret=3"; do
  start_daemon "PLATFORM_SIM_GRP_${failure%|*}"
  wait_daemon 1 "a failed start-up"
  expect_journal < <(printf 'log 1 0x36 [proc_launcher.cpp:N]start entry...\n%s %b\ngrp Stop\nlog flush\n' \
    "$CONFIGURE" "${failure#*|}")
done

echo "PASS: signals and exit codes"
