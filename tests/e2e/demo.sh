#!/usr/bin/env bash
# The demo that scripts/run plays shows what the README says it shows.
source "$(dirname "$0")/lib.sh"

start_daemon PLATFORM_SIM_HAL_DEVICES=2 PLATFORM_SIM_GRP_SCRIPT="$E2E_SOURCE_DIR/scripts/demo-scenario"
wait_for_line '^grp callback app=logger pid=1203 state=1 result=1$' 20
stop_daemon TERM
expect_in_order \
  '^grp callback app=camera pid=1201 state=0 result=1$' \
  '^grp callback app=radar pid=1202 state=0 result=1$' \
  'RegAppSensorNode, app yaml not config\. \(appName=logger\)$' \
  '^grp callback app=logger pid=1203 state=0 result=0$' \
  '^hal update dev=0 handle=3 fault=0 event=1 ret=0$' \
  '^grp RestartApp app=camera ret=0$' \
  '^grp callback app=camera pid=1201 state=2 result=1$' \
  '^hal update dev=0 handle=3 fault=0 event=0 ret=0$' \
  '^grp callback app=camera pid=1201 state=3 result=1$' \
  '^hal update dev=0 handle=5 fault=0 event=1 ret=0$' \
  '^grp callback app=radar pid=1202 state=4 result=1$' \
  '^grp RestartApp app=radar ret=5$' \
  '^grp callback app=radar pid=1202 state=2 result=0$' \
  '^hal unregister dev=0 handle=3 ret=0$' \
  '^grp callback app=camera pid=1201 state=5 result=1$' \
  '^grp callback app=logger pid=1203 state=1 result=1$'
echo "PASS: the demo scenario plays as documented"
