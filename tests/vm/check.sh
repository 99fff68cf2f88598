# The host's side of tests/vm/shortage.sh, given what the guest printed: fails unless the daemon
# summed exactly the nodes of the kernel's has_normal_memory, logged for each the MemFree that the
# guest read beside it, raised the fault once and then cleared it once on each of the two devices
# and exited 0, and unless the nodes with memory that it left out had plenty free at the raise.
set -euo pipefail
fail() { echo "FAIL: $*" && exit 1; }
summed=$(sed -n 's/^journal .*numa node \([0-9]*\) is managed by os\.$/\1/p' "$1" | xargs)
[[ "os nodes: $summed" == $(grep '^os nodes:' "$1") ]] || fail "the daemon summed nodes $summed"
updates=$(printf 'journal hal update dev=%s handle=%s fault=1 event=%s ret=0\n' 0 1 1 1 2 1 0 1 0 1 2 0)
[[ $(grep '^journal hal update.* fault=1 ' "$1") == "$updates" ]] || fail "os-memory events differ from:"$'\n'"$updates"
grep -qx 'exit 0' "$1" || fail "the daemon did not exit with 0 after SIGTERM"
# Within 1024 KB: between two reads the kernel's per-CPU page lists move MemFree by batches of 252 KB.
awk -v summed=" $summed " '
  /^journal / && match($0, /node=[0-9]+,freeSize=[0-9]+/) { split(substr($0, RSTART, RLENGTH), f, /[=,]/); logged[f[2]] = f[4] }
  / fault=1 event=[01] ret=0$/ && !((event = $(NF - 1) == "event=1" ? "raise" : "clear") in sum) {
    for (n in logged) { at[event, n] = logged[n]; sum[event] += logged[n] } }
  /^(raise|clear) node=/ { held[$1, substr($2, 6)] = $3 }
  END {
    for (key in held) { split(key, k, SUBSEP)
      if (index(summed, " " k[2] " ")) { if ((d = at[key] - held[key]) > 1024 || d < -1024) bad = bad " node " k[2] " at the " k[1] ": logged " at[key] " KB, read " held[key] " KB;" }
      else if (k[1] == "raise" && held[key] > 0 && held[key] <= 32768) bad = bad " node " k[2] ", not summed, had " held[key] " KB at the raise;" }
    printf "sums of the nodes summed: %d KB at the raise, %d KB at the clear\n", sum["raise"], sum["clear"]
    if (bad) { print "FAIL:" bad; exit 1 } }' "$1"
