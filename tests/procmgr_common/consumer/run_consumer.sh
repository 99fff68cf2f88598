#!/bin/bash
# Usage: run_consumer.sh CONSUMER JOURNAL
# Runs the consumer against the messaging stand-in, which answers busy three times, and checks its
# exit code and the calls the stand-in journalled. E2E_EMULATOR, when set, runs a cross-built consumer.
set -euo pipefail

consumer=$1
journal=$2
pipe=5
rm -f "$journal"

read -r -a emulator <<<"${E2E_EMULATOR:-}"
status=0
PLATFORM_SIM_EZCOM_BUSY=3 PLATFORM_SIM_JOURNAL="$journal" "${emulator[@]}" "$consumer" "$pipe" || status=$?
if [[ $status -ne 0 ]]; then
    echo "consumer exited with $status" >&2
    exit 1
fi

expected="ezcom SendRequest pipe=$pipe ret=-11
ezcom SendRequest pipe=$pipe ret=-11
ezcom SendRequest pipe=$pipe ret=-11
ezcom SendRequest pipe=$pipe ret=0"
actual=$(grep '^ezcom ' "$journal" || true)
if [[ "$actual" != "$expected" ]]; then
    echo "unexpected messaging journal (- expected, + actual):" >&2
    diff -u <(echo "$expected") <(echo "$actual") >&2 || true
    exit 1
fi
