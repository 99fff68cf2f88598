#!/usr/bin/env bash
# SIGPIPE does not end the daemon; a second stop signal changes nothing.
source "$(dirname "$0")/lib.sh"

start_daemon
wait_for_line '^grp SetRunning 1$'
kill -s PIPE "$DAEMON_PID"
sleep 0.3
kill -0 "$DAEMON_PID" 2>/dev/null || fail "SIGPIPE ended the daemon"
kill -s INT "$DAEMON_PID"
kill -s TERM "$DAEMON_PID" 2>/dev/null  # may already be on its way out
wait_daemon 0
expect_count '^grp Stop$' 1
expect_count '^ezcom CfgFinishServer$' 1
echo "PASS: SIGPIPE is ignored and a second stop signal is harmless"
