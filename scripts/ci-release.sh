#!/usr/bin/env bash
# Builds the Debian packages of this machine's architecture with the release settings; the package
# build runs every test of that build, the hardening checks among them, and scripts/debs lints the
# packages. Then installs them with dpkg, runs their own tests (debian/tests) against the installed
# files, and removes them again.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/lib/packages.sh
ensure_packages "${BUILD_AND_TEST_PACKAGES[@]}" "${DEB_PACKAGES[@]}" systemd man-db

scripts/debs

arch=$(dpkg --print-architecture)
version=$(dpkg-parsechangelog -SVersion)
packages=() debs=()
for package in $(sed -n 's/^Package: *//p' debian/control); do
  packages+=("$package")
  debs+=("build/debian/$arch/${package}_${version}_${arch}.deb")
done
trap 'as_root dpkg --purge "${packages[@]}" >/dev/null' EXIT
as_root dpkg -i "${debs[@]}"

for test in $(sed -n 's/^Tests: *//p' debian/tests/control); do
  echo "==== debian/tests/$test"
  work=$(mktemp -d)
  AUTOPKGTEST_TMP=$work "debian/tests/$test"
  rm -rf "$work"
done
