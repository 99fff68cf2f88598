# The layer the virtual-machine jobs share: Debian packages of any architecture fetched into a cache
# under build/ without touching the machine's apt or dpkg setup, an initramfs packed from a
# directory, qemu runs bounded in time, and the results a guest printed on its console. Sourced
# (after packages.sh) by scripts/vm-* and scripts/debs, which run from the top of the checkout.

VM_DEB_CACHE=$PWD/build/deb-cache

# vm_apt ARCH COMMAND ARG...: apt-get for ARCH alone, its package lists and cache in ARCH's cache dir.
vm_apt() {
  local dir=$VM_DEB_CACHE/$1
  mkdir -p "$dir/lists/partial" "$dir/cache"
  apt-get -q -o APT::Architecture="$1" -o APT::Architectures::="$1" -o Acquire::Languages=none \
    -o Dir::State::Lists="$dir/lists" -o Dir::Cache="$dir/cache" -o APT::Sandbox::User="$(id -un)" \
    "${@:2}"
}

# vm_fetch_debs ARCH PACKAGE...: prints the paths of ARCH's PACKAGEs, downloading those not yet cached.
vm_fetch_debs() {
  local arch=$1 dir=$VM_DEB_CACHE/$1 package missing=()
  for package in "${@:2}"; do
    compgen -G "$dir/${package}_*.deb" >/dev/null || missing+=("$package")
  done
  if [[ ${#missing[@]} -gt 0 ]]; then
    vm_apt "$arch" update >&2
    (cd "$dir" && vm_apt "$arch" download "${missing[@]}") >&2
  fi
  for package in "${@:2}"; do
    compgen -G "$dir/${package}_*.deb" || { echo "vm: no $arch package $package in $dir" >&2 && return 1; }
  done
}

# vm_needed_libraries READELF FILE LIBDIR...: the shared libraries FILE needs, directly or not, from the LIBDIRs.
vm_needed_libraries() {
  local name dir
  for name in $("$1" -d "$2" | sed -n 's/.*(NEEDED).*\[\(.*\)\]$/\1/p'); do
    for dir in "${@:3}" ""; do
      [[ -n $dir ]] || { echo "vm: $name, needed by $2, is in none of ${*:3}" >&2 && return 1; }
      [[ -e $dir/$name ]] || continue
      echo "$dir/$name"
      vm_needed_libraries "$1" "$dir/$name" "${@:3}"
      break
    done
  done
}

# vm_initramfs DIR FILE: packs DIR into FILE as an uncompressed initramfs, every file owned by root.
vm_initramfs() {
  (cd "$1" && find . | cpio -o -H newc -R 0:0 --quiet) >"$2"
}

# vm_run SECONDS CONSOLE QEMU ARG...: prints and runs the command with its output in CONSOLE, killed
# by its process id after SECONDS; fails, showing the console, when it was killed or exited non-zero.
vm_run() {
  local seconds=$1 console=$2 pid status=0
  printf 'vm: running' && printf ' %q' "${@:3}" && echo
  "${@:3}" </dev/null >"$console" 2>&1 &
  pid=$!
  local deadline=$((SECONDS + seconds))
  while kill -0 "$pid" 2>/dev/null && [[ $SECONDS -lt $deadline ]]; do
    sleep 0.2
  done
  if kill -0 "$pid" 2>/dev/null; then
    kill -KILL "$pid"
    wait "$pid" 2>/dev/null || true
    vm_show_console "$console" "$3 still ran after $seconds s and was killed"
    return 1
  fi
  wait "$pid" || status=$?
  [[ $status -eq 0 ]] || vm_show_console "$console" "$3 exited with status $status"
  return "$status"
}

# vm_show_console CONSOLE WHY: prints WHY and the console, without the serial line's carriage returns.
vm_show_console() {
  printf 'vm: %s\n---- console %s ----\n' "$2" "$1"
  tr -d '\r' <"$1"
  echo "---- end of console ----"
}

# vm_results CONSOLE: the lines the guest printed between VM-RESULTS-BEGIN and VM-RESULTS-END; fails,
# showing the console, when the end marker is missing (the guest did not finish).
vm_results() {
  # awk reads to the end: leaving early would end tr by SIGPIPE on a console longer than a pipe holds.
  tr -d '\r' <"$1" | awk '/^VM-RESULTS-END$/ { done = 1 } seen && !done { print } /^VM-RESULTS-BEGIN$/ { seen = 1 }
    END { exit !done }' || { vm_show_console "$1" "the guest printed no complete results" && return 1; }
}

# vm_kernel_deb ARCH METAPACKAGE: prints the path of ARCH's kernel image package that METAPACKAGE
# names today (its ABI number changes with updates), downloading both if they are not cached.
vm_kernel_deb() {
  local meta
  meta=$(vm_fetch_debs "$1" "$2")
  vm_fetch_debs "$1" "$(dpkg-deb -f "$meta" Depends | sed 's/[ ,].*//')"
}

# vm_with_binfmt ARCH COMMAND...: runs COMMAND where ARCH's programs run, under qemu-user-static when
# ARCH is not this machine's. A binfmt_misc handler found registered is used and left alone; one
# registered here, and the mount it needed, are removed on every way out, since they are global to
# the host's kernel.
vm_with_binfmt() (
  local cpu dir=/proc/sys/fs/binfmt_misc mounted='' handler=''
  [[ $1 != "$(dpkg --print-architecture)" ]] || { "${@:2}"; return; }
  cpu=$(dpkg-architecture -a"$1" -qDEB_HOST_GNU_CPU 2>/dev/null)
  # shellcheck disable=SC2317 # the trap calls it
  undo() {
    [[ -z $handler || ! -e $handler ]] || echo -1 >"$handler"
    [[ -z $mounted ]] || umount "$dir"
  }
  trap undo EXIT
  trap 'exit 129' HUP && trap 'exit 130' INT && trap 'exit 143' TERM
  mountpoint -q "$dir" || { mount -t binfmt_misc binfmt_misc "$dir" && mounted=1; }
  if [[ -e $dir/qemu-$cpu ]]; then
    echo "vm: the host's binfmt handler qemu-$cpu runs $1's programs; it stays as it is" >&2
  else
    # qemu-user-static's line, whose F flag opens the emulator now, so that it runs in a chroot too.
    handler=$dir/qemu-$cpu
    cat "/usr/lib/binfmt.d/qemu-$cpu.conf" >"$dir/register"
  fi
  "${@:2}"
)

# vm_debian_image DIR ARCH PACKAGE...: prints the directory under DIR of a Debian 12 machine for ARCH
# that boots with systemd, built by mmdebstrap from Debian's PACKAGEs: root.ext4 with the vmlinuz
# and the initrd.img that boot it. Builds it only when DIR holds none of the same packages, kernel
# and recipe, and then removes ARCH's older ones. Once at multi-user, the machine runs the feed
# that vm_run_debian gives it and powers off.
vm_debian_image() {
  local dir=$1 arch=$2 kernel busybox key image root version
  kernel=$(vm_kernel_deb "$arch" "linux-image-cloud-$arch")
  busybox=$(vm_fetch_debs "$arch" busybox-static)
  key=$(printf '%s\n' "${@:2}" "${kernel##*/}" "${busybox##*/}" "$(declare -f vm_debian_image)" |
    sha256sum | cut -c1-16)
  image=$dir/debian12-$arch-$key
  if [[ ! -f $image/root.ext4 ]]; then
    rm -rf "$dir/debian12-$arch-"*
    root=$image/root
    mkdir -p "$image"
    vm_with_binfmt "$arch" mmdebstrap --architectures="$arch" --variant=minbase --skip=check/qemu \
      --include="$(IFS=,; echo "${*:3}")" bookworm "$root" >&2
    # A machine-id of its own spares every boot of the image a first boot's work.
    tr -d - </proc/sys/kernel/random/uuid >"$root/etc/machine-id"
    # /run is noexec in the guest, so the feed goes to /srv; the results go to the third disk,
    # since arm64's virt machine has one serial port, and to the console as they come.
    cat >"$root/etc/systemd/system/vm-feed.service" <<'UNIT'
[Unit]
Description=Run the feed of the second disk once, then power off
After=multi-user.target
SuccessAction=poweroff-force
FailureAction=poweroff-force

[Service]
Type=oneshot
ExecStart=/bin/sh -c 'mkdir /srv/feed && tar -x -C /srv/feed -f /dev/vdb && cd /srv/feed && { echo VM-RESULTS-BEGIN; bash run.sh 2>&1; echo VM-RESULTS-END; } | tee /srv/results >/dev/console'
ExecStopPost=/bin/sh -c '{ cat /srv/results; journalctl -b --no-pager; } | dd of=/dev/vdc conv=fsync status=none'
TimeoutStartSec=infinity

[Install]
WantedBy=multi-user.target
UNIT
    ln -s ../vm-feed.service "$root/etc/systemd/system/multi-user.target.wants/vm-feed.service"
    # The kernel comes from its package on the host: installed in an emulated root it takes
    # minutes. Its modules go into the root for udev, the virtio disk's into a busybox initrd.
    dpkg-deb -x "$kernel" "$image/kernel"
    version=$(ls "$image/kernel/lib/modules")
    cp "$image/kernel/boot/vmlinuz-$version" "$image/vmlinuz"
    mkdir -p "$root/usr/lib/modules" "$image/initrd/bin"
    cp -a "$image/kernel/lib/modules/$version" "$root/usr/lib/modules/"
    depmod -b "$root" "$version"
    dpkg-deb --fsys-tarfile "$busybox" | tar -xO ./bin/busybox >"$image/initrd/bin/busybox"
    chmod +x "$image/initrd/bin/busybox"
    # The virtio disk's modules, each after those it needs: modules.dep lists them last loaded first.
    awk -F': *' '/\/virtio_(pci|blk)\.ko:/ {
        for (n = split($2, needed, " "); n > 0; n--) print needed[n]; print $1 }' \
      "$root/usr/lib/modules/$version/modules.dep" | awk '!seen[$0]++' >"$image/initrd/modules"
    tar -c -C "$root/usr/lib/modules/$version" -T "$image/initrd/modules" | tar -x -C "$image/initrd"
    cat >"$image/initrd/init" <<'INIT'
#!/bin/busybox sh
/bin/busybox --install -s /bin
mkdir -p /dev /root
mount -t devtmpfs dev /dev
exec </dev/console >/dev/console 2>&1
for module in $(cat /modules); do insmod "/$module"; done
for try in $(seq 100); do [ -b /dev/vda ] && break; sleep 0.1; done
mount -t ext4 -o rw /dev/vda /root && mount --move /dev /root/dev
exec switch_root /root /sbin/init
INIT
    chmod +x "$image/initrd/init"
    vm_initramfs "$image/initrd" "$image/initrd.img"
    mkfs.ext4 -q -d "$root" "$image/root.ext4.part" 3G >&2
    rm -rf "$root" "$image/kernel" "$image/initrd"
    mv "$image/root.ext4.part" "$image/root.ext4"
  fi
  echo "$image"
}

# vm_run_debian SECONDS ARCH IMAGE FEED CONSOLE RESULTS: boots IMAGE (vm_debian_image) of ARCH under
# qemu's software emulator with two NUMA nodes of 512 MiB, bounded as vm_run is, with the directory
# FEED as a tar on its second disk; the guest runs FEED's run.sh. RESULTS receives what run.sh
# printed, between VM-RESULTS-BEGIN and VM-RESULTS-END (vm_results), and then the guest's journal,
# both written to the third disk. The image itself stays as it is.
vm_run_debian() {
  local seconds=$1 arch=$2 image=$3 feed=$4 console=$5 results=$6 qemu tty cpus node numa=()
  case $arch in
    # Under an instruction-counting clock x86's second CPU never comes up; both run on one host
    # thread anyway.
    amd64) qemu=(qemu-system-x86_64 -accel tcg) tty=ttyS0 cpus=1 ;;
    arm64) qemu=(qemu-system-aarch64 -M virt -cpu cortex-a57) tty=ttyAMA0 cpus=2 ;;
    *) echo "vm: no machine for $arch" >&2 && return 1 ;;
  esac
  for node in 0 1; do
    numa+=(-object "memory-backend-ram,id=m$node,size=512M" -numa "node,nodeid=$node,memdev=m$node")
    [[ $node -ge $cpus ]] || numa+=(-numa "cpu,node-id=$node,socket-id=$node")
  done
  tar -c -f "$feed.tar" -C "$feed" .
  rm -f "$results" "$results.disk"
  truncate -s 32M "$results.disk"
  # An instruction-counting clock skips the guest's idle time: the daemon's 60 s period costs
  # seconds of host time.
  vm_run "$seconds" "$console" "${qemu[@]}" -smp "$cpus,sockets=$cpus" -m 1G "${numa[@]}" \
    -icount shift=0,sleep=off -nographic -no-reboot -nic none \
    -kernel "$image/vmlinuz" -initrd "$image/initrd.img" -append "console=$tty panic=-1" \
    -drive "file=$image/root.ext4,if=virtio,format=raw,snapshot=on" \
    -drive "file=$feed.tar,if=virtio,format=raw,readonly=on" \
    -drive "file=$results.disk,if=virtio,format=raw" || return
  tr -d '\0' <"$results.disk" >"$results"
}
