#!/usr/bin/env bash
# A month of the daemon's life in half a minute: libfaketime runs its clocks 100000 times faster
# while 8 service threads deliver state changes of 64 applications without end and the test moves
# the free memory of a fixture tree across both thresholds. Every change must leave in the journal
# (read through a FIFO as it comes) the calls and the answer that a model of the state table says,
# one change after the other; each raise and clear of "os-memory" must reach each device once; the
# due checks must keep pace with the simulated time; the daemon's descriptors, threads and RSS must
# not grow after a warm-up; and, back at real speed, a stop late in a sleep must end it within the
# rest of that sleep.
source "$(dirname "$0")/lib.sh"
require_node_tree
# The nodes with memory, and an empty CDM list that is a FIFO without writer: read without waiting.
NODES=$E2E_TMP/nodes && mkdir -p "$NODES/node0" "$NODES/node1" && echo 0-1 >"$NODES/has_memory" && mkfifo "$NODES/is_cdm_node"
# set_free KB: both nodes have KB free, each file replaced whole as the kernel's would be.
set_free() { for n in 0 1; do echo "Node $n MemFree: $1 kB" >"$NODES/new" && mv "$NODES/new" "$NODES/node$n/meminfo"; done; }
set_free 20000

# Application i is served by thread i % 8 alone, so that its changes come in order; the first letter
# of its name says what the service knows of it: a sensor entry on every device (a), on device 0
# with every restart refused (d), none (n), node type 0 (z). States -1, 6 and 7 are unknown.
mkfifo "$E2E_TMP/script" "$E2E_TMP/stream"
awk 'BEGIN { srand(25)
  for (i = 0; i < 64; i++) { c = substr("aaaaddnz", int(i / 8) + 1, 1); name[i] = c i
    printf(c == "a" ? "app %s 0x1234 %d\n" : c == "d" ? "app %s 0x2201 1\nrestart-ret %s 5\n" : c == "z" ? "app %s 0 1\n" : "", c i, c == "a" ? -(i % 2) : c i) }
  for (;;) { print "parallel 8"; for (j = 0; j < 1024; j++) printf "state %s %d %d\n", name[j % 8 + 8 * int(rand() * 8)], j, int(rand() * 9) - 1
    print "join"; system("sleep 0.03") } }' >"$E2E_TMP/script" 2>/dev/null & FEEDER=$!

# The model reads the journal and keeps, per application, the letters of what its change in hand
# did (G sensor configuration asked for, r registered, u<event> updated, x unregistered, on one
# device each; R restart asked for) to compare them and the answer with what
# the state table says. It counts the due checks and the os-memory updates per device and event.
awk '
function times(s, n,  out) { while (n-- > 0) out = out s; return out }
function expected(a, s,  c, n, out, e) {
  c = substr(a, 1, 1); n = c == "a" ? 2 : 1
  if (s == 5 && reg[a]) { out = times("x", n); reg[a] = 0 }
  if (s == 1 || s == 5) return out "=1"
  if (c == "n" || c == "z") return "G=0"
  if (!reg[a]) { out = times("r", n); reg[a] = 1; ev[a] = 0 }
  e = s == 2 || s == 4; out = "G" out (e != ev[a] ? times("u" e, n) : ""); ev[a] = e
  return out (s != 2 ? "=1" : c == "d" ? "R=0" : "R=1")
}
function wrong(what) { if (++failures <= 5) { print "line " NR ": " what ": " $0; fflush() } }
function add(letter) { if (a != now && seen[a] != "") wrong("handled while " now " was"); now = a; seen[a] = seen[a] letter }
{ a = substr($3, 5) }
$2 == "callback" { want = expected(a, substr($5, 7) + 0); if (seen[a] "=" substr($6, 8) != want) wrong("not " want); seen[a] = ""; changes++ }
$2 ~ /^(GetAppSensorConfig|RestartApp)$/ { add(substr($2, 1, 1)) }
$2 == "register" && (app[substr($8, 8)] = a = substr($4, 6)) != "os-memory" { add("r") }
$2 ~ /^u/ { a = app[substr($4, 8)]; if (a == "os-memory") os[$2 " " $3 " " $6]++; else add($2 == "update" ? "u" substr($6, 7) : "x") }
$2 == "devnum" && ++devnum > 1 { wrong("the device count asked again") }
/Success\. \(node=0,/ { checks++ }
$2 == 3 && !/Restart app failed/ { wrong("a failure record") }
END { print changes, checks, os["update dev=0 event=1"], os["update dev=1 event=1"], os["update dev=0 event=0"], os["update dev=1 event=0"], failures + 0 }
' <"$E2E_TMP/stream" >"$E2E_TMP/model" &

# Niced, since every millisecond a busy machine keeps the daemon waiting is 100 simulated seconds.
echo "+0 x100000" >"$E2E_TMP/rate"
start_in_node_tree "$NODES" PLATFORM_SIM_JOURNAL="$E2E_TMP/stream" PLATFORM_SIM_RUNLOG=0 PLATFORM_SIM_HAL_DEVICES=2 \
  PLATFORM_SIM_GRP_SCRIPT="$E2E_TMP/script" FAKETIME_TIMESTAMP_FILE="$E2E_TMP/rate" FAKETIME_XRESET=1 FAKETIME_CACHE_DURATION=1 nice -n -10
at_rest() { [ "$(status Threads)" -eq 2 ]; }
# rest DESCRIPTORS RSS: with the feeder paused and its last block delivered (2 threads left), the
# daemon's descriptors (less the one a due check holds for a moment) and its RSS in KB.
rest() {
  kill -STOP "$FEEDER" && await "the service threads to finish their block" 5 at_rest
  read -r "$1" "$2" <<<"$(for i in 1 2 3 4 5; do ls "/proc/$DAEMON_PID/fd" | wc -l; done | sort -n | head -n 1) $(status VmRSS)"
  kill -CONT "$FEEDER"
}
# 30 phases of 100000 simulated seconds: band, shortage, band, plenty, and again.
for phase in {0..29}; do
  set_free "$(echo 10000 4000 10000 20000 | cut -d' ' -f$((phase % 4 + 1)))" && sleep 1 && { [ "$phase" -ne 1 ] || rest fds rss; }
  [ ! -s "$E2E_TMP/model" ] || fail "not as the model says:"$'\n'"$(cat "$E2E_TMP/model")"
done
rest fds_end rss_end && kill "$FEEDER"
[ "$fds_end" -le "$fds" ] && [ "$rss_end" -le $((rss + 128)) ] ||
  fail "the daemon grew from $fds descriptors and $rss KB to $fds_end and $rss_end KB"

# Back at real speed, 5 to 14 loop ticks in 2 s (each is one sleep, one voluntary switch of the main
# thread; a loaded machine only delays them), and SIGTERM 150 ms into a sleep.
echo "+0 x1" >"$E2E_TMP/rate"
real_speed() { local before=$(status voluntary_ctxt_switches) && sleep 2 && ticks=$(($(status voluntary_ctxt_switches) - before)) && [ "$ticks" -ge 5 ] && [ "$ticks" -le 14 ]; }
await "the daemon back at real speed, 10 loop ticks in 2 s" 8 real_speed && await_tick && pause 0.15 && stop_daemon TERM 150

await "the model's verdict" 10 [ -s "$E2E_TMP/model" ]
read -r changes checks reports < <(tail -n 1 "$E2E_TMP/model")
[ "$reports" = "8 8 7 7 0" ] || fail "not 8 raises and 7 clears per device, no failure, as the model says:"$'\n'"$(cat "$E2E_TMP/model")"
stamp() { date -d "$(grep -F 'node=0,' "$DAEMON_STDERR" | sed -n "$1" | cut -c1-23)" +%s; }
simulated=$(($(stamp '$p') - $(stamp 1p)))
# At most one due check a minute, and at least one every two: at this speed a 200 ms tick lasts
# several simulated seconds, more on a loaded machine (about 12 more on average, measured beside two
# busy loops), and a check comes at the first tick it is due.
[ "$simulated" -ge $((31 * 86400)) ] && [ $((60 * (checks - 1))) -le "$simulated" ] && [ $((120 * (checks - 1))) -ge "$simulated" ] ||
  fail "$checks due checks in $simulated simulated seconds"
echo "PASS: $((simulated / 86400)) simulated days, $changes changes, $checks due checks; $fds/$fds_end descriptors, 2 threads, $rss/$rss_end KB RSS after the warm-up/at the end; stopped in $STOP_MS ms"
