# Helpers of the end-to-end tests: each test starts the built daemon on the stand-ins, reads their
# journal and exits 0 (pass), 1 (fail) or 77 (skipped, the reason on stdout). CTest hands in
# E2E_DAEMON and E2E_EMULATOR (empty, or the command that runs target binaries, e.g. qemu-aarch64).
set -u
E2E_TMP=$(mktemp -d)
JOURNAL=$E2E_TMP/journal
DAEMON_STDERR=$E2E_TMP/stderr
read -r -a EMULATOR <<<"${E2E_EMULATOR:-}"
# Never across a mount point: a test in a namespace may have mounted things under it.
trap 'kill -KILL $(jobs -p) 2>/dev/null; rm -rf --one-file-system "$E2E_TMP"' EXIT

fail() {
  printf 'FAIL: %s\n---- journal ----\n%s\n---- daemon stderr ----\n%s\n' "$*" "$(cat "$JOURNAL" 2>/dev/null)" \
    "$(tail -n 40 "$DAEMON_STDERR" 2>/dev/null)"
  exit 1
}
skip() { echo "SKIPPED: $*" && exit 77; }

# require_namespace WHY: root and a private mount namespace; skipped without them, never in CI.
require_namespace() {
  [ "$(id -u)" -eq 0 ] && unshare -m true 2>/dev/null && return 0
  [ -n "${CI:-}" ] && fail "needs root and a mount namespace ($1), and CI must run it"
  skip "needs root and a mount namespace ($1)"
}

# pause SECONDS: sleeps without a new process, on a FIFO that never brings a line, for precise polls.
mkfifo "$E2E_TMP/pause" && exec {PAUSE_FD}<>"$E2E_TMP/pause"
pause() { read -rt "$1" -u "$PAUSE_FD" || :; }

# await WHAT SECONDS COMMAND...: runs COMMAND every 5 ms until it succeeds; fails naming WHAT after SECONDS.
await() {
  local what=$1 deadline=$((${EPOCHREALTIME/./} + $2 * 1000000)) && shift 2
  until "$@"; do
    [ "${EPOCHREALTIME/./}" -lt "$deadline" ] || fail "waited in vain for $what"
    pause 0.005
  done
}

# status KEY: the number after KEY in the daemon's /proc status, read whole (one snapshot) by the shell.
status() { local text; read -rd '' text <"/proc/$DAEMON_PID/status"; [[ $text =~ $1:[[:space:]]+([0-9]+) ]] && echo "${BASH_REMATCH[1]}"; }
# await_tick: returns as the daemon's main thread begins its next sleep, its only voluntary switch.
await_tick() { local before=$(status voluntary_ctxt_switches) && await "a loop tick" 2 ticked "$before"; }
ticked() { [ "$(status voluntary_ctxt_switches)" != "$1" ]; }

# start_daemon [VAR=value ...] [COMMAND ...]: the daemon in the background, its journal in $JOURNAL.
start_daemon() {
  : >"$JOURNAL"
  env PLATFORM_SIM_JOURNAL="$JOURNAL" "$@" "${EMULATOR[@]}" "$E2E_DAEMON" </dev/null 2>"$DAEMON_STDERR" {PAUSE_FD}>&- &
  DAEMON_PID=$!
}

# require_node_tree: root, a mount namespace and libfaketime, which runs the daemon's clocks faster.
require_node_tree() {
  require_namespace "bind-mounts a fixture tree over /sys/devices/system/node"
  # The sanitizer and cross presets say why libfaketime cannot work there.
  [ -z "${E2E_NO_FAKETIME:-}" ] || skip "$E2E_NO_FAKETIME"
  FAKETIME_LIB=$(ls /usr/lib/*/faketime/libfaketimeMT.so.1 2>/dev/null | head -n 1) && [ -n "$FAKETIME_LIB" ] ||
    fail "libfaketime is not installed (Debian package faketime)"
}

# start_in_node_tree TREE [VAR=value ...]: start_daemon under libfaketime, with TREE bind-mounted over
# /sys/devices/system/node in a mount namespace of its own; sh execs it, so the job's pid is the daemon's.
start_in_node_tree() {
  start_daemon unshare -m --propagation private sh -c 'mount --bind "$0" /sys/devices/system/node && exec env "$@"' "$1" LD_PRELOAD="$FAKETIME_LIB" "${@:2}"
}

# wait_daemon EXIT_CODE WHAT: the daemon exits with EXIT_CODE within 5 s of WHAT.
wait_daemon() {
  await "the daemon's exit after $2 within 5 s" 5 exited
  local code=0 && wait "$DAEMON_PID" || code=$?
  [ "$code" = "$1" ] || fail "exit code $code after $2, expected $1"
}
exited() { ! kill -0 "$DAEMON_PID" 2>/dev/null; }

# wait_for_line REGEX [TIMEOUT_S]
wait_for_line() { await "a journal line matching '$1' within ${2:-10} s" "${2:-10}" grep -Eq -- "$1" "$JOURNAL"; }

# stop_daemon SIGNAL [MAX_MS]: the daemon must exit 0, within MAX_MS when given; STOP_MS tells how
# long it took. A sanitizer runtime or an emulator does work of its own at exit; presets that bring
# one add E2E_EXIT_OVERHEAD_MS.
stop_daemon() {
  local start=${EPOCHREALTIME/./}
  kill -s "$1" "$DAEMON_PID" || fail "could not signal the daemon"
  wait_daemon 0 "SIG$1"
  STOP_MS=$(((${EPOCHREALTIME/./} - start) / 1000))
  [ -z "${2:-}" ] || [ "$STOP_MS" -le $(($2 + ${E2E_EXIT_OVERHEAD_MS:-0})) ] || fail "stopping took $STOP_MS ms"
}

# expect_count REGEX N: exactly N journal lines match.
expect_count() { local count=$(grep -Ec -- "$1" "$JOURNAL") && [ "$count" -eq "$2" ] || fail "$count journal lines match '$1', expected $2"; }

# The journal with the log calls' line numbers left out, so that moving code changes no test.
journal_text() { sed -E 's/\[proc_launcher\.cpp:[0-9]+\]/[proc_launcher.cpp:N]/' "$JOURNAL"; }

# expect_journal [LEFT_OUT] < EXPECTED: the journal, less the lines matching LEFT_OUT, is stdin.
expect_journal() {
  local differences && differences=$(diff <(journal_text | grep -Ev -- "${1:-^$}") -) ||
    fail "journal differs (< journal, > expected):"$'\n'"$differences"
}
