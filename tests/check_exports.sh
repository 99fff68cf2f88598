#!/bin/bash
# Usage: check_exports.sh NM BINARY
# Passes when BINARY's dynamic symbol table defines the fourteen functions of the common library
# and nothing else; prints the difference otherwise (- expected, + actual).
set -euo pipefail
# A local entry (a lowercase type other than u, GNU unique) binds nothing; sanitizer builds keep some.
diff -u - <("$1" -DC --defined-only "$2" | awk '$2 !~ /^[a-tv-z]$/' | cut -d' ' -f2- | LC_ALL=C sort) <<'EXPECTED'
T ProcMgr::GetAppExecStateStr[abi:cxx11](unsigned long)
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
T ProcMgr::ProcMgrEzcomTimedRPCSync(int, EzcomRequest*, EzcomResponse*, int)
EXPECTED
