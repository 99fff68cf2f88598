#!/usr/bin/env bash
# Application state changes played through the group-owner stand-in on two devices: the node
# appears on the first report, only changes reach the HAL, a lost heartbeat asks for a restart,
# an active exit withdraws the node, and an unknown application gets nothing.
source "$(dirname "$0")/lib.sh"

cat >"$E2E_TMP/script" <<'SCRIPT'
app camera 0x1234 0
state camera 42 HEART_BEAT_LOST
state camera 42 HEART_BEAT_LOST
state camera 42 HEART_BEAT_RECOVERY
state camera 42 ACTIVELY_EXIT
state ghost 7 ABNORMAL_EXIT
SCRIPT
start_daemon PLATFORM_SIM_HAL_DEVICES=2 PLATFORM_SIM_GRP_SCRIPT="$E2E_TMP/script"
wait_for_line '^grp callback app=ghost '
stop_daemon TERM

expect_count '^hal register dev=[01] name=camera nodeType=0x1234 sensorType=0x27 ret=0 ' 2
expect_count '^hal update dev=[01] handle=[0-9]+ fault=0 event=1 ret=0$' 2
expect_count '^hal update dev=[01] handle=[0-9]+ fault=0 event=0 ret=0$' 2
expect_count '^grp RestartApp app=camera ' 2
expect_in_order \
  '^hal update dev=0 handle=3 fault=0 event=1 ret=0$' \
  '^hal update dev=1 handle=4 fault=0 event=1 ret=0$' \
  '^grp RestartApp app=camera ret=0$' \
  '^grp callback app=camera pid=42 state=2 result=1$' \
  '^grp RestartApp app=camera ret=0$' \
  '^grp callback app=camera pid=42 state=2 result=1$' \
  '^hal update dev=0 handle=3 fault=0 event=0 ret=0$' \
  '^hal update dev=1 handle=4 fault=0 event=0 ret=0$' \
  '^grp callback app=camera pid=42 state=3 result=1$' \
  '^hal unregister dev=0 handle=3 ret=0$' \
  '^hal unregister dev=1 handle=4 ret=0$' \
  '^grp callback app=camera pid=42 state=5 result=1$' \
  '^grp GetAppSensorConfig app=ghost ret=1 ' \
  'RegAppSensorNode, app yaml not config\. \(appName=ghost\)$' \
  '^grp callback app=ghost pid=7 state=4 result=0$'
expect_count '^grp callback ' 5
expect_in_order \
  'Receive app state change\. \(name=camera,pid=42,state=HEART_BEAT_LOST\)$' \
  'Receive app state change\. \(name=ghost,pid=7,state=ABNORMAL_EXIT\)$'
echo "PASS: state changes reach the HAL as changes only"
