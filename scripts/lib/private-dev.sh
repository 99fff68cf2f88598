# Sourced by scripts/run and the end-to-end syslog test, inside a private mount namespace (root's, or
# an unprivileged user's own user namespace): a /dev of its own, where syslog_catcher.py binds
# /dev/log without touching the machine's.

# private_dev: a fresh tmpfs over /dev, with the machine's harmless character devices bound into it
# (a user namespace may not make device nodes) and /dev/fd. The old /dev stays reachable through a
# descriptor opened before it is covered; -c keeps mount from resolving that path to the new /dev.
private_dev() {
  local node
  exec 3</dev
  mount -t tmpfs -o mode=755 tmpfs /dev || return
  for node in null zero full random urandom tty; do
    touch "/dev/$node" && mount -c --bind "/proc/self/fd/3/$node" "/dev/$node" || return
  done
  exec 3<&-
  ln -s /proc/self/fd /dev/fd
}
