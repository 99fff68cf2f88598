#!/usr/bin/env bash
# Plays the application-state end-to-end test with the default build's daemon under valgrind's
# memcheck. Any memory error or definitely lost block makes valgrind exit 1 instead of the daemon's
# 0, which the test's exit check turns into a failure; the full valgrind report is printed either way.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/lib/packages.sh
ensure_packages "${BUILD_AND_TEST_PACKAGES[@]}" valgrind

build=build/default
cmake --preset default >/dev/null
cmake --build --preset default --target proc_launcher

log=$PWD/$build/valgrind.log
rm -f "$log".*
status=0
E2E_DAEMON=$PWD/$build/bin/proc_launcher \
  E2E_EMULATOR="valgrind --error-exitcode=1 --leak-check=full --errors-for-leak-kinds=definite --log-file=$log.%p" \
  bash tests/e2e/app_states.sh || status=$?
cat "$log".*
exit $status
