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

# vm_debian_image DIR PACKAGE...: prints the directory under DIR of a Debian 12 machine of this
# machine's architecture that boots with systemd, built by mmdebstrap from Debian's PACKAGEs (a
# kernel among them): root.ext4 with its vmlinuz and initrd.img. Builds it only when DIR holds none
# of the same packages and recipe, and then removes the older ones. Once at multi-user, the machine
# runs the feed that vm_run_debian gives it and powers off.
vm_debian_image() {
  local dir=$1 key image root
  key=$(printf '%s\n' "${@:2}" "$(declare -f vm_debian_image)" | sha256sum | cut -c1-16)
  image=$dir/debian12-$key
  if [[ ! -f $image/root.ext4 ]]; then
    rm -rf "$dir"/debian12-*
    root=$image/root
    mkdir -p "$image"
    mmdebstrap --variant=minbase --include="$(IFS=,; echo "${*:2}")" bookworm "$root" >&2
    # /run is noexec in the guest, so the feed goes to /srv; ttyS1 carries the results alone.
    cat >"$root/etc/systemd/system/vm-feed.service" <<'UNIT'
[Unit]
Description=Run the feed of the second disk once, then power off
After=multi-user.target
SuccessAction=poweroff-force
FailureAction=poweroff-force

[Service]
Type=oneshot
ExecStart=/bin/sh -c 'mkdir /srv/feed && tar -x -C /srv/feed -f /dev/vdb && cd /srv/feed && { echo VM-RESULTS-BEGIN; bash run.sh 2>&1; echo VM-RESULTS-END; } >/dev/ttyS1'
ExecStopPost=/bin/sh -c 'journalctl -b --no-pager >/dev/ttyS1'
TimeoutStartSec=infinity
StandardOutput=journal+console

[Install]
WantedBy=multi-user.target
UNIT
    ln -s ../vm-feed.service "$root/etc/systemd/system/multi-user.target.wants/vm-feed.service"
    cp "$root"/boot/vmlinuz-* "$image/vmlinuz"
    cp "$root"/boot/initrd.img-* "$image/initrd.img"
    mkfs.ext4 -q -d "$root" "$image/root.ext4.part" 3G >&2
    rm -rf "$root"
    mv "$image/root.ext4.part" "$image/root.ext4"
  fi
  echo "$image"
}

# vm_run_debian SECONDS IMAGE FEED CONSOLE RESULTS: boots IMAGE (vm_debian_image) under qemu's
# software emulator, bounded as vm_run is, with the directory FEED as a tar on its second disk; the
# guest runs FEED's run.sh. RESULTS receives what run.sh printed, between VM-RESULTS-BEGIN and
# VM-RESULTS-END (vm_results), and then the guest's journal. The image itself stays as it is.
vm_run_debian() {
  local seconds=$1 image=$2 feed=$3 console=$4 results=$5
  tar -c -f "$feed.tar" -C "$feed" .
  rm -f "$results"
  vm_run "$seconds" "$console" qemu-system-x86_64 -accel tcg -smp 2 -m 1536 -nographic -no-reboot \
    -nic none -serial mon:stdio -serial "file:$results" \
    -kernel "$image/vmlinuz" -initrd "$image/initrd.img" -append "root=/dev/vda rw console=ttyS0 panic=-1" \
    -drive "file=$image/root.ext4,if=virtio,format=raw,snapshot=on" \
    -drive "file=$feed.tar,if=virtio,format=raw,readonly=on"
}
