#!/usr/bin/env bash
# Builds and tests the hardened release preset (its tests check the binaries' hardening and the
# install tree), then packages it as a .deb for the build machine's architecture.
set -euo pipefail
cd "$(dirname "$0")/.."

cmake --workflow --preset release
scripts/ci-package.sh build/release
