# Sourced in the guest of a VM job, beside a daemon that runs with a journal in /journal and two
# devices: prints the kernel's node lists, makes a shortage of the OS nodes' free memory by filling
# a tmpfs bound to them, holds it until the daemon raises the fault, then releases it until the
# daemon clears it, printing what each node had free right after each of the two checks. The
# caller prints the daemon's exit status and journal; tests/vm/check.sh compares it all.
cd /sys/devices/system/node
nodes() { for item in $(tr , ' ' <"$1"); do seq "${item%-*}" "${item#*-}"; done; }
os_nodes=$(nodes has_normal_memory) && online=$(nodes online)
echo "lists has_memory=$(cat has_memory) has_normal_memory=$(cat has_normal_memory) online=$(cat online)"
echo "os nodes:" $os_nodes
# Reads and waits without a fork: a fork's page allocations would move MemFree between the daemon's
# reading and this one, and under an instruction-counting clock each costs more than a wait.
memfree() { while read -r _ _ key kb _; do case $key in MemFree:) echo "${2-}$kb" ;; esac; done <"node$1/meminfo"; }
snapshot() { for n in $online; do memfree "$n" "$1 node=$n "; done; }
os_free_kb() { for n in $os_nodes; do memfree "$n"; done | awk '{ kb += $1 } END { print kb }'; }
mkfifo /tick && exec 3<>/tick 4<>/journal
# Reads on from where the last wait stopped: the events come in this order.
in_journal() { while read -r line <&4; do case $line in *"$1"*) return 0 ;; esac; done; return 1; }
wait_for() { for i in $(seq "$2"0); do in_journal "$1" && return; read -rt 0.1 _ <&3; done; echo "waited $2 s for $1"; }
# The default reserve (about 49 MB) keeps the free memory far above 16384 KB even at an OOM kill.
echo 4096 >/proc/sys/vm/min_free_kbytes
wait_for 'grp SetRunning 1' 10
mkdir /fill && mount -t tmpfs -o "size=0,mpol=bind:$(cat has_normal_memory)" fill /fill
for i in $(seq 30); do
  left=$(os_free_kb) && [ "$left" -ge 10240 ] || break
  dd if=/dev/zero of=/fill/$i bs=64k count=$(((left - 6144) / 128)) 2>/dev/null
done
wait_for 'fault=1 event=1' 90 && snapshot raise
rm /fill/*
wait_for 'fault=1 event=0' 90 && snapshot clear
