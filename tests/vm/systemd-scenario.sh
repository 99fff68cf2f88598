#!/usr/bin/env bash
# Runs in a Debian machine booted with systemd, from the source tree in the feed that also holds
# ../debs and ../stand-ins: installs the packages on the stand-ins and prints what only a real init
# shows, one fact a line, for the host to compare with systemd.expected ("info" lines aside, and
# the "shortage" lines, which tests/vm/check.sh reads). A fact that does not hold prints another
# line, or none.
set -uo pipefail
unit=proc_launcher dropins=/etc/systemd/system/proc_launcher.service.d
within() { local end=$((SECONDS + $1)); until "${@:2}"; do [ $SECONDS -lt $end ] || return; sleep 0.2; done; }
journal_has() { journalctl -o cat "${@:2}" | grep -q "$1"; }
main_pid() { systemctl show -P MainPID $unit; }
starts() { journalctl -o cat -u $unit | grep -c 'start entry'; }
restarted() { [ "$(systemctl is-active $unit)" = active ] && [ "$(main_pid)" != "$1" ]; }

cp -a ../stand-ins/. /usr/local/ && ldconfig && mkdir -p $dropins && mkfifo /run/grp
printf '[Service]\nEnvironment=%s\nExecStartPost=-/bin/bash %s\n' "PLATFORM_SIM_JOURNAL=/journal PLATFORM_SIM_HAL_DEVICES=2 \
PLATFORM_SIM_HAL_FAIL=unregister@1 PLATFORM_SIM_GRP_SCRIPT=/run/grp" "$PWD/tests/vm/systemd-probe.sh" >$dropins/vm.conf
dpkg -i ../debs/*.deb >/dev/null 2>&1
echo "installed: $(systemctl is-active $unit) $(systemctl is-enabled $unit)" && pid=$(main_pid)
grep -E '^(NoNewPrivs|Seccomp|CapBnd):' /proc/$pid/status | tr -s '\t' ' '
[ "$(readlink /proc/1/ns/mnt)" = "$(readlink /proc/$pid/ns/mnt)" ] && echo "mount namespace: PID 1's"
within 10 journal_has '^probe memory' -u $unit && journalctl -o cat -u $unit | grep '^probe '
# Opening the FIFO waits for a reader: a daemon that never started must not hold up the rest.
timeout 10 bash -c "printf 'app camera 0x1234 0\nstate camera 7 HEART_BEAT_LOST\n' >/run/grp" ||
  echo "no daemon read the group-owner script within 10 s"
# The daemon of the unit through a real shortage: tests/vm/check.sh reads these lines on the host.
(. tests/vm/shortage.sh) | sed 's/^/shortage /'
systemctl stop $unit && echo "shortage exit $(systemctl show -P ExecMainStatus $unit)" && sed 's/^/shortage journal /' /journal
grep -Ev 'numa node|freeSize' /journal | sed -E 's/(proc_launcher.cpp):[0-9]+/\1/'
journalctl --sync && journalctl -o json _PID=$pid | python3 -c 'import json, sys
for record in map(json.loads, sys.stdin):
    if record.get("SYSLOG_FACILITY") == "45": print(record["PRIORITY"], record["MESSAGE"])'

systemctl start $unit && pid=$(main_pid) && systemctl kill -s KILL $unit
within 20 restarted $pid && echo "after SIGKILL: restarts $(systemctl show -P NRestarts $unit)"
# Timed here, not after the shortage: pages it evicted are read from disk again, and under the
# instruction-counting clock the guest's time leaps while it waits for a disk.
start=$(date +%s%N) && systemctl stop $unit && ms=$((($(date +%s%N) - start) / 1000000))
echo "info stop took $ms ms" && [ $ms -lt 1000 ] && echo "stopped within 1 s: status $(systemctl show -P ExecMainStatus $unit)"

# The probe goes, lest its time in the start hide a unit that does not wait for the main loop.
printf '[Service]\nEnvironment=PLATFORM_SIM_GRP_CONFIGURE_RET=5\n' >$dropins/vm.conf
systemctl daemon-reload && systemctl reset-failed $unit && start=$SECONDS before=$(starts)
systemctl start $unit 2>/dev/null && echo "exit 1: start succeeded" || echo "exit 1: start failed"
within 60 systemctl is-failed -q $unit && echo "info gave up after $((SECONDS - start)) s"
echo "exit 1: $(systemctl is-failed $unit) after $(($(starts) - before)) starts"

rm -r $dropins && systemctl daemon-reload && systemctl reset-failed $unit && systemctl start $unit
for test in $(sed -n 's/^Tests: *//p' debian/tests/control); do
  output=$(AUTOPKGTEST_TMP=$(mktemp -d) "debian/tests/$test" 2>&1) && echo "DEP-8 $test: pass" ||
    { echo "DEP-8 $test: fail" && echo "$output" | sed 's/^/info /'; }
done
rm -rf /tmp/tmp.* && pid=$(main_pid) && dpkg --purge $(sed -n 's/^Package: *//p' debian/control) >/dev/null
[ -e /proc/$pid ] || echo "purge: daemon stopped"
# Pages that man formatted (DEP-8 unit) stay in man-db's own cache, as every package's do.
echo "purge left: [$(find / -xdev \( -path /srv/feed -o -path /var/cache/man \) -prune -o -regex '.*proc.launcher.*\|.*procmgr.*' -print)]"
