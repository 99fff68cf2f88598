#!/usr/bin/env bash
# Usage: build_consumer.sh find_package|pkg_config PREFIX LIBDIR WORK_DIR CMAKE CXX PLATFORM_LIB_DIR [TOOLCHAIN_FILE]
# Builds the package consumer against the common library installed in PREFIX, finding it the way
# another program would (CMake's find_package or pkg-config) and nothing else of this build, and
# runs it. PLATFORM_LIB_DIR holds the platform libraries that the installed library needs, as a
# board has them in its system directories. E2E_EMULATOR, when set, runs the cross-built consumer.
set -euo pipefail

mode=$1 prefix=$2 libdir=$3 work=$4 cmake=$5 cxx=$6 platform_libs=$7 toolchain=${8:-}
source_dir=$(cd "$(dirname "$0")/consumer" && pwd)
program=$work/package_consumer

rm -rf "$work"
mkdir -p "$work"
case $mode in
  find_package)
    configure=(-S "$source_dir" -B "$work" -DCMAKE_CXX_COMPILER="$cxx"
      -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF
      -DCMAKE_EXE_LINKER_FLAGS="-Wl,-rpath-link,$platform_libs")
    if [[ -n $toolchain ]]; then
      # The cross toolchain searches its sysroot only; the prefix is one more root.
      configure+=(-DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_FIND_ROOT_PATH="$prefix")
    fi
    "$cmake" "${configure[@]}" >"$work/configure.log" || {
      cat "$work/configure.log"
      exit 1
    }
    "$cmake" --build "$work"
    ;;
  pkg_config)
    flags=$(PKG_CONFIG_LIBDIR="$prefix/$libdir/pkgconfig" pkg-config --cflags --libs procmgr_common)
    echo "pkg-config procmgr_common: $flags"
    # shellcheck disable=SC2086 # the flags are a list of words
    "$cxx" -std=c++17 "$source_dir/package_consumer.cpp" $flags \
      -Wl,-rpath-link,"$platform_libs" -o "$program"
    ;;
  *)
    echo "unknown mode $mode" >&2
    exit 2
    ;;
esac

read -r -a emulator <<<"${E2E_EMULATOR:-}"
LD_LIBRARY_PATH="$prefix/$libdir:$platform_libs" "${emulator[@]}" "$program"
