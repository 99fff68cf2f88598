#include <algorithm>
#include <cctype>
#include <map>
#include <vector>

#include "procmgr_common/procmgr_common.h"

namespace ProcMgr {
namespace {

// Built before main, in this order; the other four tables are built on their first lookup.
const std::vector<std::string> REPORT_APP_STATE_TYPE_NAMES = {
    "RUNNING_NORMAL_START",   "RUNNING_NORMAL_RESTART",   "RUNNING_ABNORMAL_TERM_TIMEOUT",
    "TERMINATED_NORMAL_EXIT", "TERMINATED_ABNORMAL_EXIT", "INVALID_INTERMEDIATE_STATE",
};
const std::vector<std::string> PROCESS_STATE_NAMES = {
    "INITSTATE", "STARTING", "RUNNING", "TERMINATING", "TERMINATED", "RESTARTING",
};
// Not the process-state order: "RESTARTING" comes second here.
const std::vector<std::string> BASE_SERVICE_STATE_TYPE_NAMES = {
    "INIT",
    "RESTARTING",
    "RUNNING",
    "TERMINATING",
};
const std::vector<std::string> APP_EXEC_STATE_NAMES = {
    "RUNNING",
    "TERMINATED",
};

std::string NameAt(const std::vector<std::string>& names, unsigned long key)
{
    return key < names.size() ? names[key] : std::string();
}

}  // namespace

std::string GetReportAppStateTypeStr(unsigned long key)
{
    return NameAt(REPORT_APP_STATE_TYPE_NAMES, key);
}

std::string GetProcessStateStr(unsigned long key)
{
    return NameAt(PROCESS_STATE_NAMES, key);
}

std::string GetBaseServiceStateTypeStr(unsigned long key)
{
    return NameAt(BASE_SERVICE_STATE_TYPE_NAMES, key);
}

std::string GetAppExecStateStr(unsigned long key)
{
    return NameAt(APP_EXEC_STATE_NAMES, key);
}

std::string GetOptionType(unsigned long key)
{
    static const std::vector<std::string> optionTypeNames = {"START", "TERM", "RESTART"};
    return NameAt(optionTypeNames, key);
}

std::string GetGroupOwner(unsigned long key)
{
    static const std::vector<std::string> groupOwnerNames = {"DATAMASTER", "IAM", "APPMGR"};
    return NameAt(groupOwnerNames, key);
}

std::string GetAppState(unsigned long key)
{
    static const std::vector<std::string> appStateNames = {
        "SUCCESS", "TERM_FAILED", "START_FAILED", "RESTART_FAILED", "INIT", "PROCESSING", "START_FAILED_BY_EIO",
    };
    return NameAt(appStateNames, key);
}

std::string GetSysState(unsigned long key)
{
    static const std::map<unsigned long, std::string> sysStateNames = {
        {0, "OFF"}, {1, "WORKING"}, {2, "SUSPEND"}, {3, "UPGRADE"}, {4, "CALIBRATION"},
    };
    const auto entry = sysStateNames.find(key);
    return entry != sysStateNames.end() ? entry->second : std::string();
}

bool IsStrDigits(const std::string& text)
{
    // isdigit is defined only for unsigned char values: bytes >= 0x80 must not arrive negative.
    return std::all_of(text.begin(), text.end(),
                       [](char byte) { return std::isdigit(static_cast<unsigned char>(byte)) != 0; });
}

}  // namespace ProcMgr
