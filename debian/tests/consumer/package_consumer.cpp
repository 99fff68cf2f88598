// Exit code 0 when the installed library answers its name and digit questions as documented and
// passes a request through to the messaging library.
#include <cstdio>
#include <string>

#include "procmgr_common/procmgr_common.h"

namespace {

int Expect(bool holds, const char* what)
{
    if (!holds) {
        std::printf("unexpected: %s\n", what);
        return 1;
    }
    return 0;
}

}  // namespace

int main()
{
    int failures = 0;
    failures += Expect(ProcMgr::GetOptionType(1) == "TERM", "option 1 is TERM");
    failures += Expect(ProcMgr::GetOptionType(1000).empty(), "option 1000 has no name");
    failures += Expect(ProcMgr::IsStrDigits("20240131"), "20240131 is all digits");
    failures += Expect(!ProcMgr::IsStrDigits("2024-01"), "2024-01 is not all digits");
    failures += Expect(ProcMgr::ProcMgrEzcomSendRequest(1, nullptr) == 0, "the request is sent");
    std::printf("package consumer: %d unexpected answers\n", failures);
    return failures == 0 ? 0 : 1;
}
