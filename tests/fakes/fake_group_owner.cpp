#include <atomic>

#include "tests/fakes/fakes.h"

namespace {
std::atomic<Fakes::MockGrpOwner*> currentGrpOwner{nullptr};
}

namespace Fakes {
MockGrpOwner::MockGrpOwner()
{
    currentGrpOwner.store(this);
}

MockGrpOwner::~MockGrpOwner()
{
    currentGrpOwner.store(nullptr);
}
}  // namespace Fakes

ProcMgr::ProcMgrGrpOwner* ProcMgr::ProcMgrGrpOwner::GetInstance()
{
    return currentGrpOwner.load();
}
