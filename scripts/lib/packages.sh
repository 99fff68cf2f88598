# Installs, with apt-get, whichever of the given Debian packages are missing; does nothing when
# all are present. Sourced by the scripts in scripts/ and by .ci/run.

# The packages the build and every test need.
BUILD_AND_TEST_PACKAGES=(
  cmake ninja-build g++ pkg-config
  libgtest-dev googletest libbenchmark-dev python3
  faketime util-linux mount binutils strace
)

# What scripts/bench needs beyond those: libnuma for the peer of the node read, matplotlib for the plot.
BENCH_PACKAGES=(libnuma-dev python3-matplotlib)

# What building and linting the Debian packages needs (scripts/debs).
DEB_PACKAGES=(build-essential debhelper lintian)

# What the reproducibility job needs (scripts/ci-reproducible.sh): reprotest with the tools of its
# variations (disorderfs, faketime) and diffoscope, which shows what differs.
REPRODUCIBLE_PACKAGES=(reprotest disorderfs faketime diffoscope-minimal)

# What the arm64 VM job needs (scripts/vm-arm64): the aarch64 preset's cross compiler and user-mode
# emulator, the system emulator that boots Debian's arm64 kernel, and cpio for its initramfs.
VM_ARM64_PACKAGES=(g++-aarch64-linux-gnu qemu-user qemu-system-arm cpio)

# What the systemd VM jobs need (scripts/vm-systemd): mmdebstrap that builds the machine from
# Debian's packages, depmod and cpio for its kernel's modules and initramfs, mkfs.ext4 for its disk
# image; and, by architecture, the system emulator that boots it, for arm64 also the user-mode
# emulator whose binfmt handler runs the arm64 maintainer scripts while the machine is built.
VM_SYSTEMD_PACKAGES=(mmdebstrap kmod cpio e2fsprogs)
declare -gA VM_SYSTEMD_EMULATOR=([amd64]=qemu-system-x86 [arm64]="qemu-system-arm qemu-user-static")

# Runs a command as root, through sudo when not root.
as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif command -v sudo >/dev/null 2>&1; then
    sudo "$@"
  else
    echo "packages: $1 needs root; run as root or install sudo" >&2
    return 1
  fi
}

ensure_packages() {
  local missing=() package
  if ! command -v dpkg-query >/dev/null 2>&1; then
    echo "packages: not a Debian system; make sure these are installed: $*" >&2
    return 0
  fi
  for package in "$@"; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
      missing+=("$package")
    fi
  done
  [ ${#missing[@]} -eq 0 ] && return 0

  echo "packages: installing ${missing[*]}" >&2
  # Another script installing at the same time holds dpkg's lock for a while; wait for it.
  as_root apt-get -o DPkg::Lock::Timeout=600 update -q >&2 &&
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=600 install -y -q \
      --no-install-recommends "${missing[@]}" >&2
}
