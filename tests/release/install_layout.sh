#!/usr/bin/env bash
# Usage: install_layout.sh CMAKE BUILD_DIR PREFIX READELF BINDIR LIBDIR INCLUDEDIR UNITDIR
# Installs BUILD_DIR into an emptied PREFIX and checks what arrives: the daemon, the common library
# with its headers, CMake package and pkg-config file, the systemd unit naming the installed
# daemon, and nothing else (no platform stand-ins, no test programs). Installed binaries must not
# point into the build tree.
set -euo pipefail

cmake=$1 build=$2 prefix=$3 readelf=$4 bindir=$5 libdir=$6 includedir=$7 unitdir=$8

rm -rf "$prefix"
"$cmake" --install "$build" --prefix "$prefix" >/dev/null

expected=(
  "$bindir/proc_launcher"
  "$libdir/libprocmgr_common.so"
  "$includedir/procmgr_common/procmgr_common.h"
  "$includedir/platform/easy_comm.h"
  "$libdir/cmake/procmgr_common/procmgr_common-config.cmake"
  "$libdir/cmake/procmgr_common/procmgr_common-config-version.cmake"
  "$libdir/pkgconfig/procmgr_common.pc"
  "$unitdir/proc_launcher.service"
)
# Besides those: the library's versioned names.
allowed_patterns=("$libdir/libprocmgr_common.so.*")

status=0
for file in "${expected[@]}"; do
  if [[ ! -e $prefix/$file ]]; then
    echo "missing from the install: $file"
    status=1
  fi
done

is_allowed() {
  local file=$1 known
  for known in "${expected[@]}"; do
    [[ $file == "$known" ]] && return 0
  done
  for known in "${allowed_patterns[@]}"; do
    # shellcheck disable=SC2053 # the pattern is meant to glob
    [[ $file == $known ]] && return 0
  done
  return 1
}

while IFS= read -r file; do
  if ! is_allowed "$file"; then
    echo "installed but not part of the release: $file"
    status=1
  fi
done < <(cd "$prefix" && find . \( -type f -o -type l \) | sed 's|^\./||' | sort)

unit=$prefix/$unitdir/proc_launcher.service
if [[ -e $unit ]] && ! grep -qx "ExecStart=$prefix/$bindir/proc_launcher" "$unit"; then
  echo "the unit does not start the installed daemon:"
  grep '^ExecStart=' "$unit" || echo "(no ExecStart line)"
  status=1
fi

for elf in "$prefix/$bindir/proc_launcher" "$prefix/$libdir/libprocmgr_common.so"; do
  if [[ -e $elf ]] && "$readelf" -dW "$elf" | grep -E '\((RPATH|RUNPATH)\)' | grep -qF "$build"; then
    echo "installed $elf still searches the build tree:"
    "$readelf" -dW "$elf" | grep -E '\((RPATH|RUNPATH)\)'
    status=1
  fi
done

if [[ $status -eq 0 ]]; then
  echo "install into $prefix: ${#expected[@]} expected files, nothing else"
fi
exit $status
