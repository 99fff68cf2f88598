#!/bin/bash
# Usage: check_exports.sh BINARY
# Passes when the dynamic symbols of BINARY that mention ProcMgr are exactly the fourteen functions
# of the common library, each defined in the binary's code. Type information of the platform's
# classes is left out: the linker exports it wherever a shared library shares it (UBSan's vptr
# check does), and it is the platform's, not ours.
set -euo pipefail

binary=$1
expected='T ProcMgr::GetAppExecStateStr[abi:cxx11](unsigned long)
T ProcMgr::GetAppState[abi:cxx11](unsigned long)
T ProcMgr::GetBaseServiceStateTypeStr[abi:cxx11](unsigned long)
T ProcMgr::GetGroupOwner[abi:cxx11](unsigned long)
T ProcMgr::GetOptionType[abi:cxx11](unsigned long)
T ProcMgr::GetProcessStateStr[abi:cxx11](unsigned long)
T ProcMgr::GetReportAppStateTypeStr[abi:cxx11](unsigned long)
T ProcMgr::GetSysState[abi:cxx11](unsigned long)
T ProcMgr::IsStrDigits(std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> > const&)
T ProcMgr::ProcMgrEzcomClosePipe(int)
T ProcMgr::ProcMgrEzcomRPCSync(int, EzcomRequest*, EzcomResponse*)
T ProcMgr::ProcMgrEzcomSendRequest(int, EzcomRequest const*)
T ProcMgr::ProcMgrEzcomSendResponse(int, EzcomResponse const*)
T ProcMgr::ProcMgrEzcomTimedRPCSync(int, EzcomRequest*, EzcomResponse*, int)'

symbols=$(nm -DC --defined-only "$binary")
actual=$(grep ProcMgr <<<"$symbols" | grep -v ' typeinfo' | cut -d' ' -f2- | LC_ALL=C sort || true)

if [[ "$actual" != "$expected" ]]; then
    echo "unexpected ProcMgr symbols exported by $binary (- expected, + actual):" >&2
    diff -u <(echo "$expected") <(echo "$actual") >&2 || true
    exit 1
fi
