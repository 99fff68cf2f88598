#!/usr/bin/env bash
# Usage: ci-package.sh BUILD_DIR
# Makes the .deb of an already built BUILD_DIR with CPack and shows its control data and contents.
set -euo pipefail
cd "$(dirname "$0")/.."

build=$1
rm -rf "$build/packages"
(cd "$build" && cpack -G DEB >/dev/null)
for deb in "$build"/packages/*.deb; do
  echo "==== $deb"
  dpkg-deb --info "$deb"
  dpkg-deb --contents "$deb"
done
