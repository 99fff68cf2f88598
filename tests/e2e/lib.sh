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

now_ms() { echo $(($(date +%s%N) / 1000000)); }

# start_daemon [VAR=value ...]: the daemon in the background, its journal in $JOURNAL.
start_daemon() {
  : >"$JOURNAL"
  env PLATFORM_SIM_JOURNAL="$JOURNAL" "$@" "${EMULATOR[@]}" "$E2E_DAEMON" </dev/null 2>"$DAEMON_STDERR" &
  DAEMON_PID=$!
}

# wait_daemon EXIT_CODE
wait_daemon() {
  local code=0 && wait "$DAEMON_PID" || code=$?
  [ "$code" = "$1" ] || fail "exit code $code, expected $1"
}

# wait_for_line REGEX [TIMEOUT_S]
wait_for_line() {
  local deadline=$(($(now_ms) + ${2:-10} * 1000))
  until grep -Eq -- "$1" "$JOURNAL"; do
    [ "$(now_ms)" -lt "$deadline" ] || fail "no journal line matched '$1' within ${2:-10} s"
    kill -0 "$DAEMON_PID" 2>/dev/null || grep -Eq -- "$1" "$JOURNAL" || fail "the daemon ended before '$1'"
    sleep 0.02
  done
}

# stop_daemon SIGNAL [MAX_MS]: the daemon must exit 0, within MAX_MS when given; STOP_MS tells how
# long it took. A sanitizer runtime or an emulator does work of its own at exit; presets that bring
# one add E2E_EXIT_OVERHEAD_MS.
stop_daemon() {
  local start=$(now_ms)
  kill -s "$1" "$DAEMON_PID" || fail "could not signal the daemon"
  wait_daemon 0
  STOP_MS=$(($(now_ms) - start))
  [ -z "${2:-}" ] || [ "$STOP_MS" -le $(($2 + ${E2E_EXIT_OVERHEAD_MS:-0})) ] || fail "stopping took $STOP_MS ms"
}

# expect_count REGEX N: exactly N journal lines match.
expect_count() {
  local count=$(grep -Ec -- "$1" "$JOURNAL") && [ "$count" -eq "$2" ] || fail "$count journal lines match '$1', expected $2"
}

# The journal with the log calls' line numbers left out, so that moving code changes no test.
journal_text() { sed -E 's/\[proc_launcher\.cpp:[0-9]+\]/[proc_launcher.cpp:N]/' "$JOURNAL"; }

# expect_journal [LEFT_OUT] < EXPECTED: the journal, less the lines matching LEFT_OUT, is stdin.
expect_journal() {
  local differences && differences=$(diff <(journal_text | grep -Ev -- "${1:-^$}") -) ||
    fail "journal differs (< journal, > expected):"$'\n'"$differences"
}
