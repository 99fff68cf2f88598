#include "platform/sim/script_player.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "platform/sim/line_reader.h"
#include "platform/sim/sim_text.h"

namespace ProcMgr::Sim {

namespace {

// Bounds one poll so that a far deadline never overflows poll's int timeout.
constexpr std::chrono::milliseconds MAX_POLL_SLICE{60000};

std::string ErrnoText()
{
    return std::error_code(errno, std::generic_category()).message();
}

UniqueFd OpenScript(const std::string& path, const Reporter& report)
{
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) {
        report(Format("cannot open group-owner script '%s' (%s)", EscapeControl(path).c_str(), ErrnoText().c_str()));
        return {};
    }
    int flags = O_RDONLY;
    if (S_ISFIFO(info.st_mode)) {
        // Holding the FIFO open for writing as well means that a writer who closes it never leaves
        // us at an endless end of file, so one echo after another all arrive.
        flags = O_RDWR | O_NONBLOCK;
    } else if (!S_ISREG(info.st_mode)) {
        report(Format("group-owner script '%s' is neither a regular file nor a FIFO", EscapeControl(path).c_str()));
        return {};
    }
    UniqueFd fd(open(path.c_str(), flags | O_CLOEXEC));
    if (!fd.Valid()) {
        report(Format("cannot open group-owner script '%s' (%s)", EscapeControl(path).c_str(), ErrnoText().c_str()));
    }
    return fd;
}

}  // namespace

std::unique_ptr<ScriptPlayer> ScriptPlayer::Open(const std::string& path, ScriptHandler& handler, Reporter report)
{
    UniqueFd script = OpenScript(path, report);
    if (!script.Valid()) {
        return nullptr;
    }
    UniqueFd stopEvent(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!stopEvent.Valid()) {
        report(Format("cannot play group-owner script '%s': eventfd failed (%s)", EscapeControl(path).c_str(),
                      ErrnoText().c_str()));
        return nullptr;
    }
    std::unique_ptr<ScriptPlayer> player(
        new ScriptPlayer(path, handler, std::move(report), std::move(script), std::move(stopEvent)));
    try {
        player->thread = std::thread(&ScriptPlayer::Play, player.get());
    } catch (const std::system_error& error) {
        player->report(Format("cannot play group-owner script '%s': %s", EscapeControl(path).c_str(), error.what()));
        return nullptr;
    }
    return player;
}

ScriptPlayer::ScriptPlayer(std::string scriptPath, ScriptHandler& scriptHandler, Reporter reporter, UniqueFd scriptFd,
                           UniqueFd stopFd)
    : path(std::move(scriptPath)),
      handler(scriptHandler),
      report(std::move(reporter)),
      script(std::move(scriptFd)),
      stopEvent(std::move(stopFd))
{
}

ScriptPlayer::~ScriptPlayer()
{
    stopping.store(true);
    const uint64_t wake = 1;
    if (write(stopEvent.Get(), &wake, sizeof wake) < 0) {
        // Only a counter overflow can fail here, and then the event is readable already.
    }
    if (thread.joinable()) {
        thread.join();
    }
}

void ScriptPlayer::Play()
{
    LineReader reader(script.Get(), stopEvent.Get());
    std::string text;
    size_t lineNumber = 0;
    for (;;) {
        const ReadStatus status = reader.Next(text);
        if (status == ReadStatus::TOO_LONG) {
            Complain(++lineNumber, Format("longer than %zu bytes", MAX_LINE_BYTES));
            continue;
        }
        if (status != ReadStatus::LINE) {
            if (status == ReadStatus::FAILED) {
                report(Format("reading group-owner script '%s' failed (%s); it ends here", EscapeControl(path).c_str(),
                              ErrnoText().c_str()));
            }
            break;
        }
        if (!Execute(ParseScriptLine(text), ++lineNumber)) {
            return;
        }
    }
    RunParallel();  // a block still open at the end of the script is played as if joined
}

bool ScriptPlayer::Execute(const ScriptLine& line, size_t lineNumber)
{
    if (const auto* app = std::get_if<AppDeclaration>(&line)) {
        handler.DeclareApp(*app);
    } else if (const auto* restart = std::get_if<RestartResult>(&line)) {
        handler.SetRestartResult(*restart);
    } else if (const auto* pause = std::get_if<Pause>(&line)) {
        WaitForStop(pause->duration);
    } else if (const auto* change = std::get_if<StateChange>(&line)) {
        PlayChange(*change, lineNumber);
    } else if (const auto* parallel = std::get_if<ParallelStart>(&line)) {
        StartParallel(*parallel, lineNumber);
    } else if (std::holds_alternative<ParallelJoin>(line)) {
        JoinParallel(lineNumber);
    } else if (const auto* malformed = std::get_if<MalformedLine>(&line)) {
        Complain(lineNumber, malformed->reason);
    }
    return !stopping.load();
}

void ScriptPlayer::PlayChange(const StateChange& change, size_t lineNumber)
{
    if (parallelThreads == 0) {
        DeliverUnlessStopped(change);
    } else if (parallelChanges.size() < MAX_PARALLEL_CHANGES) {
        parallelChanges.push_back(change);
    } else {
        Complain(lineNumber, Format("a parallel block holds at most %zu state changes", MAX_PARALLEL_CHANGES));
    }
}

void ScriptPlayer::StartParallel(const ParallelStart& parallel, size_t lineNumber)
{
    if (parallelThreads != 0) {
        Complain(lineNumber, "'parallel' inside a parallel block");
        return;
    }
    parallelThreads = parallel.threads;
}

void ScriptPlayer::JoinParallel(size_t lineNumber)
{
    if (parallelThreads == 0) {
        Complain(lineNumber, "'join' without 'parallel'");
        return;
    }
    RunParallel();
}

void ScriptPlayer::RunParallel()
{
    const std::vector<StateChange> changes = std::move(parallelChanges);
    parallelChanges.clear();
    const size_t workers = std::min<size_t>(parallelThreads, changes.size());
    parallelThreads = 0;
    std::vector<std::thread> threads;
    for (size_t first = 0; first < workers && !stopping.load(); ++first) {
        const auto deliverShare = [this, &changes, first, workers] {
            for (size_t i = first; i < changes.size(); i += workers) {
                DeliverUnlessStopped(changes[i]);
            }
        };
        try {
            threads.emplace_back(deliverShare);
        } catch (const std::system_error& error) {
            report(Format("group-owner script '%s': no thread for a parallel share (%s); played in line",
                          EscapeControl(path).c_str(), error.what()));
            deliverShare();
        }
    }
    for (std::thread& worker : threads) {
        worker.join();
    }
}

void ScriptPlayer::DeliverUnlessStopped(const StateChange& change)
{
    if (!stopping.load()) {
        handler.Deliver(change);
    }
}

void ScriptPlayer::WaitForStop(std::chrono::nanoseconds duration) const
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + duration;
    pollfd watched{stopEvent.Get(), POLLIN, 0};
    for (;;) {
        const Clock::duration left = deadline - Clock::now();
        if (left <= Clock::duration::zero()) {
            return;
        }
        const auto slice = std::min(std::chrono::ceil<std::chrono::milliseconds>(left), MAX_POLL_SLICE);
        const int ready = poll(&watched, 1, static_cast<int>(slice.count()));
        if (ready > 0 || (ready < 0 && errno != EINTR)) {
            return;
        }
    }
}

void ScriptPlayer::Complain(size_t lineNumber, const std::string& reason) const
{
    report(Format("group-owner script '%s' line %zu: %s; skipped", EscapeControl(path).c_str(), lineNumber,
                  reason.c_str()));
}

}  // namespace ProcMgr::Sim
