#!/usr/bin/env bash
# A normal run on four devices, stopped by SIGTERM or SIGINT: every platform call in order, exit 0
# within 300 ms of the signal.
source "$(dirname "$0")/lib.sh"

for signal in TERM INT; do
  start_daemon PLATFORM_SIM_HAL_DEVICES=4
  wait_for_line '^grp SetRunning 1$'
  sleep 0.3  # let the loop tick and sleep at least once
  stop_daemon "$signal" 300

  expect_exact_journal \
    'log 1 0x36 \[proc_launcher\.cpp:[0-9]+\]start entry\.\.\.' \
    'grp Configure startupConfigPath=/etc/orv/base-plat/proc_launcher/proc_launcher_startup\.yaml extraPath= resourcePath=/res/proc_launcher/ss firstFlag=0 secondFlag=1 extraValue=0 ret=0' \
    'grp Start ret=0' \
    'hal devnum ret=0 count=4' \
    'hal register dev=0 name=os-memory nodeType=0x0617 sensorType=0xd0 ret=0 handle=1' \
    'hal register dev=1 name=os-memory nodeType=0x0617 sensorType=0xd0 ret=0 handle=2' \
    'hal register dev=2 name=os-memory nodeType=0x0617 sensorType=0xd0 ret=0 handle=3' \
    'hal register dev=3 name=os-memory nodeType=0x0617 sensorType=0xd0 ret=0 handle=4' \
    'log 1 0x1000036 \[proc_launcher\.cpp:[0-9]+\]Register sensor node for os memory success' \
    'grp RegisterAppStateCallback' \
    'grp Run' \
    'grp SetRunning 1' \
    'hal unregister dev=0 handle=1 ret=0' \
    'hal unregister dev=1 handle=2 ret=0' \
    'hal unregister dev=2 handle=3 ret=0' \
    'hal unregister dev=3 handle=4 ret=0' \
    'grp Stop' \
    'log 1 0x1000036 \[proc_launcher\.cpp:[0-9]+\]proc_launcher exit\.' \
    'log flush' \
    'ezcom CfgFinishServer'
done
echo "PASS: SIGTERM and SIGINT each stop the daemon in order"
