// Priorities of the reporter's syslog messages. The facility travels in every priority because
// the daemon never calls openlog.
#ifndef SENSOR_REPORTER_REPORTER_SYSLOG_H
#define SENSOR_REPORTER_REPORTER_SYSLOG_H

#include <syslog.h>

namespace ProcMgr {

constexpr int REPORTER_SYSLOG_FACILITY = 45 << 3;
constexpr int REPORTER_FAILURE_PRIORITY = REPORTER_SYSLOG_FACILITY | LOG_ERR;
constexpr int REPORTER_SUCCESS_PRIORITY = REPORTER_SYSLOG_FACILITY | LOG_INFO;

static_assert(REPORTER_FAILURE_PRIORITY == 0x16B, "fault management filters on this priority");
static_assert(REPORTER_SUCCESS_PRIORITY == 0x16E, "fault management filters on this priority");

}  // namespace ProcMgr

#endif
