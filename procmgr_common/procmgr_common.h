// The common process-manager library: names of the platform's numeric state and option codes, and
// wrappers of the messaging calls that retry while easy_comm answers with its transient code.
// Every function here is exported, from libprocmgr_common.so and from the launcher executable.
#ifndef PROCMGR_COMMON_PROCMGR_COMMON_H
#define PROCMGR_COMMON_PROCMGR_COMMON_H

#include <string>

#include "platform/easy_comm.h"

#define PROCMGR_COMMON_API __attribute__((visibility("default")))

namespace ProcMgr {

// Each name function returns a copy of the name for key, or "" when its table has none.
// Safe from any thread; must not be called while static objects are destroyed at exit.

// Application report state type ("RUNNING_NORMAL_START" ... "INVALID_INTERMEDIATE_STATE").
PROCMGR_COMMON_API std::string GetReportAppStateTypeStr(unsigned long key);
// Process state ("INITSTATE" ... "RESTARTING").
PROCMGR_COMMON_API std::string GetProcessStateStr(unsigned long key);
// Base-service state type ("INIT", "RESTARTING", "RUNNING", "TERMINATING").
PROCMGR_COMMON_API std::string GetBaseServiceStateTypeStr(unsigned long key);
// Application execution state ("RUNNING", "TERMINATED").
PROCMGR_COMMON_API std::string GetAppExecStateStr(unsigned long key);
// Option type ("START", "TERM", "RESTART").
PROCMGR_COMMON_API std::string GetOptionType(unsigned long key);
// Group owner ("DATAMASTER", "IAM", "APPMGR").
PROCMGR_COMMON_API std::string GetGroupOwner(unsigned long key);
// Application state ("SUCCESS" ... "START_FAILED_BY_EIO").
PROCMGR_COMMON_API std::string GetAppState(unsigned long key);
// System state ("OFF", "WORKING", "SUSPEND", "UPGRADE", "CALIBRATION").
PROCMGR_COMMON_API std::string GetSysState(unsigned long key);

// True when every byte of text is one of '0'..'9'; true for "", with no length limit.
PROCMGR_COMMON_API bool IsStrDigits(const std::string& text);

// The four result wrappers call their easy_comm function with the arguments unchanged, up to 401
// times while it answers -11 (EZCOM_TRANSIENT_BUSY), waiting 5 ms after every such answer, and
// return its last result: at most about 2 s of waiting before -11 reaches the caller.

// Result of EzcomSendRequest.
PROCMGR_COMMON_API int ProcMgrEzcomSendRequest(int pipe, const EzcomRequest* request);
// Result of EzcomSendResponse.
PROCMGR_COMMON_API int ProcMgrEzcomSendResponse(int pipe, const EzcomResponse* response);
// Result of EzcomRPCSync.
PROCMGR_COMMON_API int ProcMgrEzcomRPCSync(int pipe, EzcomRequest* request, EzcomResponse* response);
// Result of EzcomTimedRPCSync; timeout bounds each attempt, not the whole call.
PROCMGR_COMMON_API int ProcMgrEzcomTimedRPCSync(int pipe, EzcomRequest* request, EzcomResponse* response, int timeout);
// Calls EzcomClosePipe up to 10 times while it answers -16 (EZCOM_CLOSE_PIPE_BUSY), waiting 100 ms
// after each; the outcome is not reported.
PROCMGR_COMMON_API void ProcMgrEzcomClosePipe(int pipe);

}  // namespace ProcMgr

#endif
