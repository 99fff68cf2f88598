#!/usr/bin/env bash
# Application state changes through the group-owner stand-in on two devices, the first refusing every
# unregistration: which states register a node (a name of 19 bytes fits), raise or clear its fault,
# withdraw it (an active exit answers false when a device refused, the other device and the node gone
# all the same) or ask for a restart, with what answer; then the same run with the run log off writes
# exactly the records without the flag.
source "$(dirname "$0")/lib.sh"

# camera goes through every state; ghost has no sensor entry, dummy node type 0.
{
  printf 'sleep 0.2\napp camera 0x1234 0\napp radar 0x10617 1\napp dummy 0 1\napp wide0123456789abcde 0x10000 -1\n'
  printf 'restart-ret radar 5\n'
  printf 'state camera 11 %s\n' SWITCH_OFF SWITCH_ON HEART_BEAT_LOST HEART_BEAT_LOST HEART_BEAT_RECOVERY ABNORMAL_EXIT -1 \
    ACTIVELY_EXIT ABNORMAL_EXIT
  printf 'state %s\n' "radar 12 HEART_BEAT_LOST" "ghost 14 HEART_BEAT_LOST" "dummy 15 SWITCH_ON" \
    "wide0123456789abcde 16 SWITCH_ON" "ghost 19 ACTIVELY_EXIT"
} >"$E2E_TMP/script"
play() {
  start_daemon PLATFORM_SIM_HAL_DEVICES=2 PLATFORM_SIM_HAL_FAIL=unregister@0 PLATFORM_SIM_GRP_SCRIPT="$E2E_TMP/script" "$@"
  wait_for_line '^grp callback app=ghost pid=19 '
  stop_daemon INT
}

play
journal_text | grep -v ' 0x1000036 ' >"$E2E_TMP/without-run-log"
expect_journal <"${0%.sh}.expected"
play PLATFORM_SIM_RUNLOG=0
expect_journal <"$E2E_TMP/without-run-log"
echo "PASS: state changes"
