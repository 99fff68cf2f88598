#!/usr/bin/env bash
# A person drives a running daemon through a FIFO, one echo at a time.
source "$(dirname "$0")/lib.sh"

mkfifo "$E2E_TMP/ctl"
start_daemon PLATFORM_SIM_GRP_SCRIPT="$E2E_TMP/ctl"
wait_for_line '^grp SetRunning 1$'
echo "app camera 0x1234 0" >"$E2E_TMP/ctl"
echo "state camera 42 HEART_BEAT_LOST" >"$E2E_TMP/ctl"
wait_for_line '^grp callback app=camera pid=42 state=2 result=1$'
echo "state camera 42 HEART_BEAT_RECOVERY" >"$E2E_TMP/ctl"
wait_for_line '^grp callback app=camera pid=42 state=3 result=1$'
sleep 0.3  # an idle FIFO must not keep the stop waiting
stop_daemon TERM 300
expect_count '^hal update dev=0 handle=2 fault=0 event=1 ret=0$' 1
expect_count '^hal update dev=0 handle=2 fault=0 event=0 ret=0$' 1
echo "PASS: the daemon follows commands written to a FIFO"
