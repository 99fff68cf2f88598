# Helpers of the end-to-end tests: each test starts the built daemon on the stand-ins, reads the
# stand-ins' journal and exits 0 (pass), 1 (fail) or 77 (skipped, with the reason on stdout).
# CTest hands in E2E_DAEMON (the daemon's path) and E2E_EMULATOR (empty, or the command that
# runs target binaries, such as qemu-aarch64).
set -u

E2E_TMP=$(mktemp -d)
JOURNAL="$E2E_TMP/journal"
DAEMON_STDERR="$E2E_TMP/stderr"
DAEMON_PID=""
read -r -a EMULATOR <<<"${E2E_EMULATOR:-}"

e2e_cleanup() {
  [ -n "$DAEMON_PID" ] && kill -KILL "$DAEMON_PID" 2>/dev/null
  rm -rf "$E2E_TMP"
}
trap e2e_cleanup EXIT

fail() {
  echo "FAIL: $*"
  echo "---- journal ----"
  cat "$JOURNAL" 2>/dev/null
  echo "---- daemon stderr ----"
  tail -n 40 "$DAEMON_STDERR" 2>/dev/null
  exit 1
}

skip() {
  echo "SKIPPED: $*"
  exit 77
}

# require_namespace WHY: root and a private mount namespace; skipped without them, but never in CI.
require_namespace() {
  local missing=""
  [ "$(id -u)" -eq 0 ] || missing="root"
  [ -n "$missing" ] || unshare -m true 2>/dev/null || missing="a mount namespace"
  [ -z "$missing" ] && return 0
  [ -n "${CI:-}" ] && fail "needs $missing ($1), and CI must run it"
  skip "needs $missing ($1)"
}

now_ms() {
  echo $(($(date +%s%N) / 1000000))
}

# start_daemon [VAR=value ...]: starts the daemon in the background with the journal in $JOURNAL.
start_daemon() {
  : >"$JOURNAL"
  env PLATFORM_SIM_JOURNAL="$JOURNAL" "$@" "${EMULATOR[@]}" "$E2E_DAEMON" </dev/null 2>"$DAEMON_STDERR" &
  DAEMON_PID=$!
}

# wait_daemon EXIT_CODE: waits for the daemon to end with this exit code.
wait_daemon() {
  local code=0
  wait "$DAEMON_PID" || code=$?
  DAEMON_PID=""
  [ "$code" = "$1" ] || fail "exit code $code, expected $1"
}

# wait_for_line REGEX [TIMEOUT_S]: waits until a journal line matches.
wait_for_line() {
  local pattern=$1 deadline=$(($(now_ms) + ${2:-10} * 1000))
  until grep -Eq -- "$pattern" "$JOURNAL" 2>/dev/null; do
    [ "$(now_ms)" -lt "$deadline" ] || fail "no journal line matched '$pattern' within ${2:-10}s"
    kill -0 "$DAEMON_PID" 2>/dev/null || grep -Eq -- "$pattern" "$JOURNAL" ||
      fail "the daemon ended before a line matched '$pattern'"
    sleep 0.02
  done
}

# stop_daemon SIGNAL [MAX_MS]: signals the daemon, which must exit 0 (within MAX_MS). A sanitizer
# runtime or an emulator does work of its own at exit (a leak scan, say); the presets that bring
# one name its cost in E2E_EXIT_OVERHEAD_MS, which is added to the limit.
stop_daemon() {
  local start limit
  start=$(now_ms)
  kill -s "$1" "$DAEMON_PID" || fail "could not signal the daemon"
  wait_daemon 0
  local took=$(($(now_ms) - start))
  [ -n "${2:-}" ] || return 0
  limit=$(($2 + ${E2E_EXIT_OVERHEAD_MS:-0}))
  [ "$took" -le "$limit" ] || fail "stopping took ${took} ms, more than $limit ms"
}

# expect_count REGEX N: exactly N journal lines match.
expect_count() {
  local count
  count=$(grep -Ec -- "$1" "$JOURNAL")
  [ "$count" -eq "$2" ] || fail "$count journal lines match '$1', expected $2"
}

# expect_in_order REGEX...: each pattern matches a journal line after the line of the one before.
expect_in_order() {
  local pattern line=0 found
  for pattern in "$@"; do
    found=$(tail -n +"$((line + 1))" "$JOURNAL" | grep -En -m1 -- "$pattern" | cut -d: -f1)
    [ -n "$found" ] || fail "no line matching '$pattern' after journal line $line"
    line=$((line + found))
  done
}

# expect_exact_journal REGEX...: the journal holds exactly these lines, in this order.
expect_exact_journal() {
  local -a lines
  mapfile -t lines <"$JOURNAL"
  [ "${#lines[@]}" -eq "$#" ] || fail "journal has ${#lines[@]} lines, expected $#"
  local i=0 pattern
  for pattern in "$@"; do
    [[ "${lines[$i]}" =~ ^$pattern$ ]] || fail "journal line $((i + 1)) is '${lines[$i]}', expected '$pattern'"
    i=$((i + 1))
  done
}
