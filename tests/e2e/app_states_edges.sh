#!/usr/bin/env bash
# Less common reports: a refused restart, values outside the enumeration, node type 0 and a node
# type whose low 16 bits are 0, a quiet run log, and concurrent deliveries.
source "$(dirname "$0")/lib.sh"

cat >"$E2E_TMP/script" <<'SCRIPT'
app radar 0x2201 1
app nosensor 0 0
app wide 0x10000 -1
restart-ret radar 5
state radar 9 HEART_BEAT_LOST
state radar 9 6
state radar 9 -1
state nosensor 3 SWITCH_ON
state wide 4 ABNORMAL_EXIT
parallel 4
state radar 9 ABNORMAL_EXIT
state wide 4 SWITCH_ON
state radar 9 SWITCH_ON
state wide 4 ABNORMAL_EXIT
join
SCRIPT
start_daemon PLATFORM_SIM_GRP_SCRIPT="$E2E_TMP/script"
wait_for_line '^grp callback (.*) state=4 result=1$'
sleep 0.5
stop_daemon TERM
expect_in_order \
  '^grp RestartApp app=radar ret=5$' \
  '^log 3 0x36 .*Restart app failed when in heartbeat lost state\. \(app=radar\)$' \
  '^grp callback app=radar pid=9 state=2 result=0$' \
  'state=unknown\)$' \
  '^grp callback app=radar pid=9 state=6 result=1$' \
  '^grp callback app=radar pid=9 state=-1 result=1$' \
  'RegAppSensorNode, nodeType=0\. \(appName=nosensor\)$' \
  '^grp callback app=nosensor pid=3 state=0 result=0$' \
  '^hal register dev=0 name=wide nodeType=0x0000 sensorType=0x27 '
expect_count '^hal register dev=0 name=radar ' 1
expect_count '^grp callback ' 9

start_daemon PLATFORM_SIM_RUNLOG=0 PLATFORM_SIM_GRP_SCRIPT="$E2E_TMP/script"
wait_for_line '^grp callback app=wide pid=4 state=4 result=1$'
sleep 0.5
stop_daemon TERM
expect_count 'Receive app state change' 0
expect_count 'proc_launcher exit' 0
expect_count '^grp callback ' 9
echo "PASS: edge reports behave"
