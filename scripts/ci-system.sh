#!/usr/bin/env bash
# Proves that PROC_LAUNCHER_PLATFORM=system finds and links installed platform libraries: installs
# the stand-ins of a sim build into the scratch prefix build/system-platform, builds the system
# preset against that prefix alone, checks that the daemon resolves every platform library there,
# and runs the end-to-end tests.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/lib/packages.sh
ensure_packages "${BUILD_AND_TEST_PACKAGES[@]}" clang

prefix=build/system-platform
stand_ins=(platform_sim sim_group_owner sim_hal sim_easy_comm sim_bounded_string)

cmake --preset release >/dev/null
cmake --build --preset release --target "${stand_ins[@]}"
rm -rf "$prefix"
cmake --install build/release --component platform_sim --prefix "$prefix"

# A fresh cache, so that no library found earlier elsewhere survives.
rm -rf build/system
cmake --preset system
cmake --build --preset system

daemon=build/system/bin/proc_launcher
libraries=(libgroup_owner.so libtarsel_hal.so libeasy_comm.so.1 libslog.so libbounded_string.so)
status=0
for library in "${libraries[@]}"; do
  resolved=$(ldd "$daemon" | awk -v name="$library" '$1 == name { print $3 }')
  echo "$daemon: $library => ${resolved:-not found}"
  if [[ $resolved != "$PWD/$prefix/"* ]]; then
    echo "expected $library from $PWD/$prefix"
    status=1
  fi
done
if ls build/system/lib | grep -Eq '^lib(group_owner|tarsel_hal|easy_comm|slog|bounded_string)\.so'; then
  echo "the system build made stand-ins of its own: $(ls build/system/lib)"
  status=1
fi
[[ $status -eq 0 ]]

ctest --preset system
