# Helpers of the end-to-end tests: each test starts the built daemon on the stand-ins, reads the
# stand-ins' journal and exits 0 (pass), 1 (fail) or 77 (skipped, with the reason on stdout).
# CTest hands in E2E_DAEMON (the daemon's path) and E2E_EMULATOR (empty, or the command that
# runs target binaries, such as qemu-aarch64).
set -u

E2E_TMP=$(mktemp -d)
JOURNAL="$E2E_TMP/journal"
DAEMON_STDERR="$E2E_TMP/stderr"
DAEMON_PID=""
DAEMON_EXIT=""
STOP_MS=""
read -r -a EMULATOR <<<"${E2E_EMULATOR:-}"

e2e_cleanup() {
  if [ -n "$DAEMON_PID" ] && kill -0 "$DAEMON_PID" 2>/dev/null; then
    kill -KILL "$DAEMON_PID" 2>/dev/null
  fi
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

# Tests that need root or a namespace skip elsewhere, but never in CI.
require_root() {
  if [ "$(id -u)" -ne 0 ]; then
    [ -n "${CI:-}" ] && fail "needs root, and CI must run it"
    skip "needs root ($1)"
  fi
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

# run_daemon_to_end TIMEOUT_S [VAR=value ...]: runs the daemon in the foreground; sets DAEMON_EXIT.
run_daemon_to_end() {
  local limit=$1
  shift
  : >"$JOURNAL"
  DAEMON_EXIT=0
  timeout -s KILL "$limit" env PLATFORM_SIM_JOURNAL="$JOURNAL" "$@" "${EMULATOR[@]}" "$E2E_DAEMON" \
    </dev/null 2>"$DAEMON_STDERR" || DAEMON_EXIT=$?
}

# wait_for_line REGEX [TIMEOUT_S]: waits until a journal line matches.
wait_for_line() {
  local pattern=$1 limit=${2:-10}
  local deadline=$(($(now_ms) + limit * 1000))
  until grep -Eq -- "$pattern" "$JOURNAL" 2>/dev/null; do
    [ "$(now_ms)" -lt "$deadline" ] || fail "no journal line matched '$pattern' within ${limit}s"
    if [ -n "$DAEMON_PID" ] && ! kill -0 "$DAEMON_PID" 2>/dev/null; then
      grep -Eq -- "$pattern" "$JOURNAL" || fail "the daemon ended before a line matched '$pattern'"
      return 0
    fi
    sleep 0.02
  done
}

# stop_daemon [SIGNAL]: signals the daemon and waits for it; sets DAEMON_EXIT and STOP_MS.
stop_daemon() {
  local signal=${1:-TERM} start
  start=$(now_ms)
  kill -s "$signal" "$DAEMON_PID" || fail "could not signal the daemon"
  DAEMON_EXIT=0
  wait "$DAEMON_PID" || DAEMON_EXIT=$?
  STOP_MS=$(($(now_ms) - start))
  DAEMON_PID=""
}

expect_exit() {
  [ "$DAEMON_EXIT" = "$1" ] || fail "exit code $DAEMON_EXIT, expected $1"
}

expect_stop_within_ms() {
  [ "$STOP_MS" -le "$1" ] || fail "stopping took ${STOP_MS} ms, more than $1 ms"
}

# expect_count REGEX N: exactly N journal lines match.
expect_count() {
  local count
  count=$(grep -Ec -- "$1" "$JOURNAL")
  [ "$count" -eq "$2" ] || fail "$count journal lines match '$1', expected $2"
}

expect_no_line() {
  expect_count "$1" 0
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
