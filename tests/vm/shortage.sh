# Sourced in the guest of a VM job, beside a daemon that runs with a journal in /journal and two
# devices: prints the kernel's node lists, makes a shortage of the OS nodes' free memory by filling
# a tmpfs bound to each, holds it until the daemon raises the fault, then releases it until the
# daemon clears it, printing what each node had free right after each of the two checks. The
# caller prints the daemon's exit status and journal; tests/vm/check.sh compares it all.
cd /sys/devices/system/node
nodes() { for item in $(tr , ' ' <"$1"); do seq "${item%-*}" "${item#*-}"; done; }
os_nodes=$(nodes has_normal_memory) && online=$(nodes online)
echo "lists has_memory=$(cat has_memory) has_normal_memory=$(cat has_normal_memory) online=$(cat online)"
echo "os nodes:" $os_nodes
# Reads and waits without a fork: a fork's page allocations would move MemFree between the daemon's
# reading and this one, and under an instruction-counting clock each costs more than a wait.
memfree() { while read -r _ _ key kb _; do case $key in MemFree:) free=$kb && return ;; esac; done <"node$1/meminfo"; }
snapshot() { for n in $online; do memfree "$n" && echo "$1 node=$n $free"; done; }
mkfifo /tick && exec 3<>/tick 4<>/journal
# Reads on from where the last wait stopped: the events come in this order.
in_journal() { while read -r line <&4; do case $line in *"$1"*) return 0 ;; esac; done; return 1; }
# wait_for TEXT SECONDS [STEP]: runs STEP, given the try's number, between two looks.
wait_for() { for i in $(seq "$2"0); do in_journal "$1" && return; ${3:-:} "$i"; read -rt 0.1 _ <&3; done; echo "waited $2 s for $1"; }
# A tmpfs bound to each OS node, filled in halving steps until the node holds less than its share
# of 10240 KB, and again whenever the kernel hands memory back (its per-CPU page lists drained, its
# caches shrunk): each node gives its part, and none falls to its watermarks, where kswapd would
# reclaim megabytes between the daemon's reading and this one.
share=$((10240 / $(echo $os_nodes | wc -w)))
fill() { for n in $os_nodes; do memfree "$n" && [ "$free" -lt $share ] ||
  dd if=/dev/zero of="/fill/$n/$1" bs=64k count=$(((free - share * 3 / 4) / 128)) 2>/dev/null; done; }
# The default reserve (about 49 MB) keeps the free memory far above 16384 KB even at an OOM kill,
# and a boost of the watermarks after fragmentation would raise it again for a while.
echo 4096 >/proc/sys/vm/min_free_kbytes && echo 0 >/proc/sys/vm/watermark_boost_factor
wait_for 'grp SetRunning 1' 10
for n in $os_nodes; do mkdir -p "/fill/$n" && mount -t tmpfs -o "size=0,mpol=bind:$n" fill "/fill/$n"; done
wait_for 'fault=1 event=1' 90 fill && snapshot raise
rm /fill/*/*
wait_for 'fault=1 event=0' 90 && snapshot clear
