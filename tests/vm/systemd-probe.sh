#!/usr/bin/env bash
# Started as the unit starts the daemon (an ExecStartPost shares the service's settings), does what
# the platform's applications do, and prints one line per try into the unit's journal.
try() { if "${@:2}" 2>/dev/null; then echo "probe $1: ok"; else echo "probe $1: refused"; fi; }
try "TCP socket on the loopback" python3 -c 'import socket; socket.create_server(("127.0.0.1", 0))'
try "file under /var/lib" bash -c 'echo >/var/lib/probe && rm /var/lib/probe'
echo "probe new file's mode: $(f=$(mktemp -u) && touch "$f" && stat -c %a "$f" && rm "$f")"
cgroup=/sys/fs/cgroup$(sed -E 's/^0:://; s,/\.control$,,' /proc/self/cgroup)/probe
try "cgroup below the service's" bash -c "mkdir $cgroup && rmdir $cgroup"
try "memory writable, then executable" python3 -c 'import ctypes, mmap; m = mmap.mmap(-1, 4096)
address = ctypes.addressof(ctypes.c_char.from_buffer(m))
exit(ctypes.CDLL(None).mprotect(ctypes.c_void_p(address), 4096, mmap.PROT_READ | mmap.PROT_EXEC))'
