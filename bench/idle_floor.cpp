// The floor of every daemon with a 200 ms loop: it reads the steady clock and sleeps 200 ms, over
// and over, until SIGINT or SIGTERM. bench/running_cost.py measures the idle daemon against it.
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <ctime>

namespace {

std::atomic<bool> stopRequested{false};

extern "C" void RequestStop(int /*signal*/)
{
    stopRequested.store(true);
}

}  // namespace

int main()
{
    (void)std::signal(SIGINT, RequestStop);
    (void)std::signal(SIGTERM, RequestStop);
    auto lastTick = std::chrono::steady_clock::now();
    while (!stopRequested.load()) {
        lastTick = std::chrono::steady_clock::now();
        timespec rest{0, 200000000};
        while (nanosleep(&rest, &rest) != 0 && errno == EINTR) {
        }
    }
    return lastTick.time_since_epoch().count() > 0 ? 0 : 1;
}
