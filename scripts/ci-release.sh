#!/usr/bin/env bash
# Builds and tests the hardened release preset (its tests check the binaries' hardening and the
# install tree), then packages it as a .deb for the build machine's architecture.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/lib/packages.sh
ensure_packages "${BUILD_AND_TEST_PACKAGES[@]}" systemd

cmake --workflow --preset release
scripts/ci-package.sh build/release
