#!/usr/bin/env bash
# Builds the Debian packages twice with reprotest and fails unless both builds give the same bytes,
# dbgsym packages included: the second build varies what reprotest varies by default (the build
# path, time zone, umask, clock, locale, directory order, host name, kernel name, CPU count, home and
# PATH). First the amd64 packages as Debian builds them (dpkg-buildpackage), then the arm64 ones as
# scripts/debs cross-builds them. The tests are left out: the release and aarch64 jobs run them.
# Installs the Debian packages it needs; the artifacts stay in build/reproducible/<arch>/.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/lib/packages.sh
ensure_packages "${BUILD_AND_TEST_PACKAGES[@]}" "${DEB_PACKAGES[@]}" "${REPRODUCIBLE_PACKAGES[@]}" \
  g++-aarch64-linux-gnu
export DEB_BUILD_OPTIONS=nocheck

# The committed tree as it is now, without build/ and whatever else lies untracked in the checkout.
sources=$(git ls-files | cut -d/ -f1 | sort -u | tr '\n' ' ')

# reproduce ARCH BUILD_COMMAND ARTIFACTS: both builds, then a check that every package was compared
# (reprotest lists them in SHA256SUMS).
reproduce() {
  local arch=$1 store=build/reproducible/$1 package
  rm -rf "$store"
  reprotest --store-dir "$store" --source-pattern "$sources" -c "$2" . "$3"
  for package in $(sed -n 's/^Package: *//p' debian/control) proc-launcher-dbgsym libprocmgr-common0-dbgsym; do
    grep -q "/${package}_[^/]*_$arch\.deb\$" "$store/SHA256SUMS" ||
      { echo "reproducible: no $arch package $package among those compared" && return 1; }
  done
  echo "reproducible: the $arch packages of two builds are the same bytes"
}

reproduce amd64 "dpkg-buildpackage --no-sign -b" "../*.deb"
# The cross build's arm64 runtime comes from the checkout's package cache, the same for both builds.
mkdir -p build/deb-cache
reproduce arm64 "mkdir -p build && ln -s $PWD/build/deb-cache build/ && scripts/debs arm64" "build/debian/arm64/*.deb"
