#!/usr/bin/env bash
# Usage: check_hardening_rejects.sh CHECKER READELF ELF
# ELF is built with every protection turned off; the checker must refuse it and name each one.
set -euo pipefail

checker=$1
readelf=$2
elf=$3

if output=$("$checker" "$readelf" "$elf" 2>&1); then
  echo "the hardening check accepted $elf, built without any hardening:"
  echo "$output"
  exit 1
fi
echo "$output"

status=0
for complaint in "no GNU_RELRO" "no BIND_NOW" "not PIE" "no stack protector" "no fortified calls"; do
  if ! grep -qF "$complaint" <<<"$output"; then
    echo "the hardening check did not report: $complaint"
    status=1
  fi
done
exit $status
