#!/usr/bin/env bash
# A group-owner service that cannot be configured or started: exit 1 at once, after Stop and a
# log flush, with no node registered and the messaging server left alone.
source "$(dirname "$0")/lib.sh"

start_daemon PLATFORM_SIM_GRP_CONFIGURE_RET=5
wait_daemon 1
expect_exact_journal \
  'log 1 0x36 \[proc_launcher\.cpp:[0-9]+\]start entry\.\.\.' \
  'grp Configure .* ret=5' \
  'grp Stop' \
  'log flush'

start_daemon PLATFORM_SIM_GRP_START_RET=3
wait_daemon 1
expect_exact_journal \
  'log 1 0x36 \[proc_launcher\.cpp:[0-9]+\]start entry\.\.\.' \
  'grp Configure .* ret=0' \
  'grp Start ret=3' \
  'grp Stop' \
  'log flush'
echo "PASS: a failing Configure or Start ends the daemon with exit code 1"
