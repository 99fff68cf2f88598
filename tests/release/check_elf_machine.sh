#!/usr/bin/env bash
# Usage: check_elf_machine.sh READELF MACHINE ELF...
# Fails unless every ELF file is built for MACHINE, as readelf names it (such as AArch64): a cross
# build that silently used the build machine's compiler would pass every test under the emulator.
set -euo pipefail

readelf=$1 expected=$2
shift 2
status=0
for elf in "$@"; do
  machine=$("$readelf" -h "$elf" | sed -n 's/^ *Machine: *//p')
  echo "$elf: $machine"
  if [[ $machine != "$expected" ]]; then
    echo "expected $expected"
    status=1
  fi
done
exit $status
