#!/usr/bin/env bash
# HAL trouble: a failing device keeps no handle, an unusable device count falls back to device 0.
source "$(dirname "$0")/lib.sh"

start_daemon PLATFORM_SIM_HAL_DEVICES=4 PLATFORM_SIM_HAL_FAIL=register@1,unregister@2
wait_for_line '^grp SetRunning 1$'
stop_daemon TERM
expect_in_order \
  '^hal register dev=0 .* ret=0 handle=1$' \
  '^hal register dev=1 .* ret=7 handle=0$' \
  '^hal register dev=2 .* ret=0 handle=2$' \
  '^hal register dev=3 .* ret=0 handle=3$' \
  '^hal unregister dev=0 handle=1 ret=0$' \
  '^hal unregister dev=2 handle=2 ret=7$' \
  '^hal unregister dev=3 handle=3 ret=0$' \
  '^grp Stop$'
expect_count '^hal unregister dev=1 ' 0

for setting in PLATFORM_SIM_HAL_DEVICES=129 PLATFORM_SIM_HAL_DEVNUM_RET=-1; do
  start_daemon PLATFORM_SIM_HAL_DEVICES=4 "$setting"
  wait_for_line '^grp SetRunning 1$'
  stop_daemon TERM
  expect_count '^hal register ' 1
  expect_count '^hal register dev=0 name=os-memory ' 1
done
echo "PASS: HAL failures are confined to their devices"
