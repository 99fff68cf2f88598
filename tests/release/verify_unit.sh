#!/usr/bin/env bash
# Usage: verify_unit.sh UNIT_FILE
# Lets systemd-analyze verify the installed unit; skipped (77) where the tool is absent.
set -euo pipefail

unit=$1
if ! command -v systemd-analyze >/dev/null; then
  echo "skipped: systemd-analyze is not installed"
  exit 77
fi
output=$(systemd-analyze verify "$unit" 2>&1) || {
  echo "$output"
  exit 1
}
# verify exits 0 on some complaints it only prints, such as unknown keys.
if [[ -n $output ]]; then
  echo "$output"
  exit 1
fi
echo "systemd-analyze verify: $unit accepted"
