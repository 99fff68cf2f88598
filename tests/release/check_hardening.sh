#!/usr/bin/env bash
# Usage: check_hardening.sh READELF ELF...
# Fails, naming each missing protection, unless every ELF file has full RELRO (a GNU_RELRO segment
# and immediate binding), is position independent (a PIE when it is an executable) and calls the
# stack protector, and the files together call fortified libc functions: a file whose code has no
# call that the compiler can check holds none, whatever its flags.
set -euo pipefail

readelf=$1
shift
status=0
all_fortified=""

for elf in "$@"; do
  headers=$("$readelf" -hlW "$elf")
  dynamic=$("$readelf" -dW "$elf")
  imports=$("$readelf" --dyn-syms -W "$elf" | awk '$7 == "UND" { sub(/@.*/, "", $8); print $8 }')
  problems=()

  grep -q 'GNU_RELRO' <<<"$headers" || problems+=("no GNU_RELRO segment")
  grep -Eq '\(BIND_NOW\)|\(FLAGS\).*BIND_NOW|\(FLAGS_1\).*Flags:.* NOW' <<<"$dynamic" ||
    problems+=("no BIND_NOW")
  if ! grep -Eq '^ *Type: +DYN' <<<"$headers"; then
    problems+=("not PIE: not a position-independent ELF")
  elif grep -q 'INTERP' <<<"$headers" && ! grep -Eq '\(FLAGS_1\).*Flags:.* PIE' <<<"$dynamic"; then
    problems+=("not PIE: executable without the PIE flag")
  fi
  grep -qx '__stack_chk_fail' <<<"$imports" || problems+=("no stack protector (__stack_chk_fail)")
  fortified=$(grep -E '^__[a-z0-9_]+_chk$' <<<"$imports" | grep -vx '__stack_chk_fail' | tr '\n' ' ' || true)
  all_fortified+=$fortified

  if [[ ${#problems[@]} -eq 0 ]]; then
    echo "hardened: $elf: GNU_RELRO, BIND_NOW, PIE, stack protector, fortified: ${fortified:-none}"
  else
    status=1
    for problem in "${problems[@]}"; do
      echo "NOT HARDENED: $elf: $problem"
    done
  fi
done
if [[ -z $all_fortified ]]; then
  echo "NOT HARDENED: no fortified calls (__*_chk) in any of: $*"
  status=1
fi
exit $status
