// Stand-in for the platform's group-owner service.
#include "platform/group_owner.h"

#include "platform/sim/sim_group_owner.h"

namespace ProcMgr {

ProcMgrGrpOwner* ProcMgrGrpOwner::GetInstance()
{
    using namespace Sim;
    // Never destroyed: callers may reach it from their own static destructors, and a script player
    // must not be joined while the process exits.
    static ProcMgrGrpOwner* const instance = new SimGroupOwner(
        LoadGroupOwnerSettings(ProcessEnvironment(), StderrReporter()), ProcessJournal(), StderrReporter());
    return instance;
}

}  // namespace ProcMgr
