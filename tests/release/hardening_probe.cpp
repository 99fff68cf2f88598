// A stack buffer filled by a bounded formatted write: built hardened, the program must carry a
// stack protector and a fortified call; built plain, it carries neither. This keeps the hardening
// check honest whatever the daemon's own code happens to call.
#include <cstdio>

int main(int argc, char** argv)
{
    char greeting[64];
    std::snprintf(greeting, sizeof greeting, "hello %s", argc > 1 ? argv[1] : "world");
    return std::puts(greeting) >= 0 ? 0 : 1;
}
