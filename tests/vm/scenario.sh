# Runs in the arm64 guest (busybox sh): the daemon on the kernel's own node lists through a shortage
# of the OS nodes' free memory (shortage.sh beside it). Prints what tests/vm/check.sh compares.
PLATFORM_SIM_JOURNAL=/journal PLATFORM_SIM_HAL_DEVICES=2 proc_launcher </dev/null & daemon=$!
. "${0%/*}/shortage.sh"
kill -TERM $daemon && wait $daemon; echo "exit $?"
sed 's/^/journal /' /journal
