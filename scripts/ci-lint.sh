#!/usr/bin/env bash
# Usage: ci-lint.sh format|clang-tidy|cppcheck
# The static checks of CI, over every C++ file in the repository. clang-tidy and cppcheck read the
# compilation database of the lint preset (clang, configure only).
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/lib/packages.sh
ensure_packages "${BUILD_AND_TEST_PACKAGES[@]}" clang clang-tidy clang-format cppcheck

product='/(proc_launcher|memory_monitor|sensor_reporter|procmgr_common|platform)/'
tests='/(tests|fuzz|bench)/'

configure_lint() {
  cmake --preset lint >/dev/null
}

case ${1:-} in
  format)
    git ls-files -z '*.cpp' '*.h' | xargs -0 clang-format --dry-run --Werror
    echo "clang-format: $(git ls-files '*.cpp' '*.h' | wc -l) files formatted"
    ;;
  clang-tidy)
    configure_lint
    run-clang-tidy -p build/lint -j "$(nproc)" -quiet "$product"
    # The path-sensitive analyzer spends minutes per test file in GoogleTest's expansions, and
    # finds its faults in the code under test, which the first run covers.
    run-clang-tidy -p build/lint -j "$(nproc)" -quiet -checks='-clang-analyzer-*' "$tests"
    ;;
  cppcheck)
    configure_lint
    # Table rows of parameterised tests are read through GoogleTest, which cppcheck cannot see.
    cppcheck --project=build/lint/compile_commands.json -i build \
      --enable=style,warning,performance,portability --library=googletest --library=posix \
      --suppress=missingIncludeSystem --suppress='unusedStructMember:tests/*' --suppress=useStlAlgorithm \
      --inline-suppr --error-exitcode=1 --quiet -j "$(nproc)" \
      --template='{file}:{line}: {severity}: {message} [{id}]'
    echo "cppcheck: no findings"
    ;;
  *)
    echo "usage: $0 format|clang-tidy|cppcheck" >&2
    exit 2
    ;;
esac
