#!/usr/bin/env bash
# Cross builds the aarch64 preset and runs its tests under qemu-aarch64, then cross-builds and lints
# the arm64 Debian packages (scripts/debs arm64). GoogleTest for arm64 is built first from Debian's
# sources into build/aarch64-deps, which the preset points at.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/lib/packages.sh
ensure_packages "${BUILD_AND_TEST_PACKAGES[@]}" g++-aarch64-linux-gnu qemu-user

deps=build/aarch64-deps
toolchain=$PWD/cmake/toolchains/aarch64-linux-gnu.cmake
if [[ ! -f $deps/lib/cmake/GTest/GTestConfig.cmake ]]; then
  cmake -S /usr/src/googletest -B "$deps/build" -G Ninja \
    -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_INSTALL_PREFIX="$PWD/$deps" -DBUILD_GMOCK=OFF -DINSTALL_GTEST=ON
  cmake --build "$deps/build"
  cmake --install "$deps/build"
fi

cmake --workflow --preset aarch64

scripts/debs arm64
