// Receives syslog datagrams on a Unix socket and appends each to a file as one line, until
// SIGTERM. Lets the end-to-end tests see what really leaves the daemon through syslog.
#include <csignal>
#include <cstdio>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {
volatile std::sig_atomic_t stopping = 0;

extern "C" void Stop(int /*signal*/)
{
    stopping = 1;
}
}  // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s SOCKET_PATH OUTPUT_FILE\n", argv[0]);
        return 2;
    }
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof(address.sun_path), "%s", argv[1]);
    const int fd = socket(AF_UNIX, SOCK_DGRAM, 0);
    FILE* output = std::fopen(argv[2], "a");
    if (fd < 0 || bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 || output == nullptr) {
        std::perror(argv[0]);
        return 1;
    }
    struct sigaction action {};
    action.sa_handler = Stop;  // no SA_RESTART: recv returns on the signal
    sigaction(SIGTERM, &action, nullptr);
    std::fprintf(output, "listening\n");
    std::fflush(output);
    char buffer[4096];
    while (stopping == 0) {
        const ssize_t length = recv(fd, buffer, sizeof(buffer) - 1, 0);
        if (length > 0) {
            std::fprintf(output, "%.*s\n", static_cast<int>(length), buffer);
            std::fflush(output);
        }
    }
    return 0;
}
