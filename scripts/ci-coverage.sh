#!/usr/bin/env bash
# Builds and tests the coverage preset, then prints line and branch coverage of the daemon's own
# sources (tests, fuzz targets, benchmarks and the platform stand-ins are not counted).
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/lib/packages.sh
ensure_packages "${BUILD_AND_TEST_PACKAGES[@]}" gcovr

build=build/coverage
# Counters from an earlier run would add to this one's.
if [[ -d $build ]]; then
  find "$build" -name '*.gcda' -delete
fi
cmake --workflow --preset coverage

gcovr --root . --object-directory "$build" \
  --filter 'proc_launcher/' --filter 'memory_monitor/' --filter 'sensor_reporter/' \
  --filter 'procmgr_common/' --filter 'platform/' \
  --exclude 'platform/sim/' --exclude 'tests/' --exclude 'fuzz/' --exclude 'bench/' \
  --exclude-unreachable-branches --exclude-throw-branches \
  --txt "$build/coverage.txt" --print-summary
