# Runs in the arm64 guest (busybox sh): the daemon on the kernel's own node lists, and a shortage
# of the OS nodes' free memory made by filling a tmpfs bound to them, held until the daemon raises
# the fault, then released until it clears it. Prints what tests/vm/check.sh compares.
cd /sys/devices/system/node
nodes() { for item in $(tr , ' ' <"$1"); do seq "${item%-*}" "${item#*-}"; done; }
os_nodes=$(nodes has_normal_memory) && online=$(nodes online)
echo "lists has_memory=$(cat has_memory) has_normal_memory=$(cat has_normal_memory) online=$(cat online)"
echo "os nodes:" $os_nodes
# Reads without a fork, so that no page allocation moves MemFree between the daemon's reading and this one.
memfree() { while read -r _ _ key kb _; do [ "$key" = MemFree: ] && echo "$2$kb"; done <"node$1/meminfo"; }
snapshot() { for n in $online; do memfree "$n" "$1 node=$n "; done; }
os_free_kb() { for n in $os_nodes; do memfree "$n"; done | awk '{ kb += $1 } END { print kb }'; }
wait_for() { for i in $(seq "$2"0); do grep -qs "$1" /journal && return; sleep 0.1; done; echo "waited $2 s for $1"; }
# The default reserve (about 49 MB) keeps the free memory far above 16384 KB even at an OOM kill.
echo 4096 >/proc/sys/vm/min_free_kbytes
PLATFORM_SIM_JOURNAL=/journal PLATFORM_SIM_HAL_DEVICES=2 proc_launcher </dev/null & daemon=$!
wait_for 'grp SetRunning 1' 10
mkdir /fill && mount -t tmpfs -o "size=0,mpol=bind:$(cat has_normal_memory)" fill /fill
for i in $(seq 30); do
  left=$(os_free_kb) && [ "$left" -ge 10240 ] || break
  dd if=/dev/zero of=/fill/$i bs=64k count=$(((left - 6144) / 128)) 2>/dev/null
done
wait_for 'fault=1 event=1' 90 && snapshot raise
rm /fill/*
wait_for 'fault=1 event=0' 90 && snapshot clear
kill -TERM $daemon && wait $daemon; echo "exit $?"
sed 's/^/journal /' /journal
