// The group-owner script: application declarations, restart results, pauses and state changes, one
// command a line, played on a thread of its own from a regular file or, as lines arrive, a FIFO.
// Changes held for the stop go out when Stop is called, after everything the daemon did before it.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <memory>
#include <sstream>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unistd.h>

#include "platform/sim/sim.h"

namespace ProcMgr::Sim {
namespace {

// Bounds on what a script can make us hold: a longer line is skipped whole.
constexpr size_t MAX_LINE_BYTES = 4096;
constexpr size_t MAX_APPS = 4096;
constexpr size_t MAX_PARALLEL_CHANGES = 4096;
constexpr size_t MAX_HELD_CHANGES = 4096;
constexpr int64_t MAX_PARALLEL_THREADS = 64;
constexpr double MAX_SLEEP_SECONDS = 999999999;

struct StateChange {
    std::string app;
    int pid;
    int32_t state;
};

using Words = std::vector<std::string>;

std::optional<int64_t> ParseState(const std::string& word)
{
    static const std::map<std::string, int32_t> names{{"SWITCH_ON", SWITCH_ON},
                                                      {"SWITCH_OFF", SWITCH_OFF},
                                                      {"HEART_BEAT_LOST", HEART_BEAT_LOST},
                                                      {"HEART_BEAT_RECOVERY", HEART_BEAT_RECOVERY},
                                                      {"ABNORMAL_EXIT", ABNORMAL_EXIT},
                                                      {"ACTIVELY_EXIT", ACTIVELY_EXIT}};
    const auto named = names.find(word);
    return named != names.end() ? named->second : ParseInteger(word, INT32_MIN, INT32_MAX);
}

std::optional<StateChange> ParseChange(const Words& args)
{
    const std::optional<int64_t> pid = args.size() == 3 ? ParseInteger(args[1], INT32_MIN, INT32_MAX) : std::nullopt;
    const std::optional<int64_t> state = pid ? ParseState(args[2]) : std::nullopt;
    if (!state) {
        return std::nullopt;
    }
    return StateChange{args[0], static_cast<int>(*pid), static_cast<int32_t>(*state)};
}

std::optional<double> ParseSeconds(const std::string& word)
{
    try {
        size_t end = 0;
        const double seconds = std::stod(word, &end);
        if (end == word.size() && seconds >= 0 && seconds <= MAX_SLEEP_SECONDS) {
            return seconds;
        }
    } catch (const std::exception&) {
        // malformed like any other
    }
    return std::nullopt;
}

// Adds or replaces name's entry, unless the table is full.
template <typename Value>
bool Remember(std::map<std::string, Value>& table, const std::string& name, Value value)
{
    if (table.size() >= MAX_APPS && table.count(name) == 0) {
        return false;
    }
    table[name] = value;
    return true;
}

std::string Kept(bool kept, const std::string& name)
{
    return kept ? "" : "more than " + std::to_string(MAX_APPS) + " names; '" + Escaped(name) + "' ignored";
}

std::string DeclareApp(const Words& args)
{
    const std::optional<int64_t> nodeType = args.size() == 3 ? ParseInteger(args[1], 0, UINT32_MAX) : std::nullopt;
    const std::optional<int64_t> scope = nodeType ? ParseInteger(args[2], INT32_MIN, INT32_MAX) : std::nullopt;
    if (!scope) {
        return "expected 'app NAME NODETYPE SCOPE'";
    }
    const AppSensorConfig config{static_cast<uint32_t>(*nodeType), static_cast<int32_t>(*scope)};
    return Kept(Locked([&](Platform& platform) { return Remember(platform.settings.apps, args[0], config); }), args[0]);
}

std::string SetRestartResult(const Words& args)
{
    const std::optional<int64_t> result = args.size() == 2 ? ParseInteger(args[1], INT32_MIN, INT32_MAX) : std::nullopt;
    if (!result) {
        return "expected 'restart-ret NAME RET'";
    }
    const auto ret = static_cast<int>(*result);
    return Kept(Locked([&](Platform& platform) { return Remember(platform.settings.restartResults, args[0], ret); }),
                args[0]);
}

class Player {
public:
    static std::unique_ptr<Player> Open(const std::string& path);
    // Stops at once, also in a sleep or on an idle FIFO, delivers the changes held for the stop and
    // returns once no delivery runs.
    ~Player();
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

private:
    Player(std::string scriptPath, FILE* scriptFile, int fifoWakeFd)
        : path(std::move(scriptPath)), file(scriptFile), wakeFd(fifoWakeFd)
    {
    }
    void Play();
    bool ReadLine(std::string& line, bool& tooLong);
    // An empty text, or why the line was skipped.
    std::string Execute(const std::string& command, const Words& args);
    std::string StartParallel(const Words& args);
    std::string JoinParallel(const Words& args);
    std::string Pause(const Words& args);
    std::string Change(const Words& args);
    std::string HoldForStop(const Words& args);
    void DeliverHeldAtStop();
    void RunParallel();
    void Deliver(const StateChange& change) const;
    void Complain(const std::string& reason) const;

    std::string path;
    FILE* file;
    int wakeFd;  // a FIFO's write end: one line break wakes a reader waiting for input
    std::atomic<bool> stopping{false};
    std::mutex sleepMutex;
    std::condition_variable sleepEnd;
    size_t lineNumber = 0;
    size_t parallelThreads = 0;  // 0 outside a parallel block
    std::vector<StateChange> parallelChanges;
    std::vector<StateChange> heldForStop;
    std::thread thread;
};

std::unique_ptr<Player> Player::Open(const std::string& path)
{
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) {
        Note("cannot open group-owner script '%s' (%s)", Escaped(path).c_str(),
             std::generic_category().message(errno).c_str());
        return nullptr;
    }
    const bool fifo = S_ISFIFO(info.st_mode);
    if (!fifo && !S_ISREG(info.st_mode)) {
        Note("group-owner script '%s' is neither a regular file nor a FIFO", Escaped(path).c_str());
        return nullptr;
    }
    // Holding a FIFO open for writing as well means that a writer who closes it never leaves us at
    // an endless end of file, so one echo after another all arrive.
    FILE* file = std::fopen(path.c_str(), fifo ? "r+e" : "re");
    if (file == nullptr) {
        Note("cannot open group-owner script '%s' (%s)", Escaped(path).c_str(),
             std::generic_category().message(errno).c_str());
        return nullptr;
    }
    const int wakeFd = fifo ? open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC) : -1;
    std::unique_ptr<Player> player(new Player(path, file, wakeFd));
    try {
        player->thread = std::thread(&Player::Play, player.get());
    } catch (const std::system_error& error) {
        Note("cannot play group-owner script '%s': %s", Escaped(path).c_str(), error.what());
        return nullptr;
    }
    return player;
}

Player::~Player()
{
    {
        const std::lock_guard<std::mutex> lock(sleepMutex);
        stopping = true;
    }
    sleepEnd.notify_all();
    if (wakeFd >= 0 && write(wakeFd, "\n", 1) < 0) {
        // A full FIFO wakes the reader anyway.
    }
    if (thread.joinable()) {
        thread.join();
    }
    std::fclose(file);
    if (wakeFd >= 0) {
        close(wakeFd);
    }
}

void Player::Play()
{
    std::string line;
    bool tooLong = false;
    while (!stopping && ReadLine(line, tooLong)) {
        ++lineNumber;
        std::istringstream stream(line);
        std::string command;
        stream >> command;
        const Words args{std::istream_iterator<std::string>(stream), {}};
        if (tooLong) {
            Complain("longer than " + std::to_string(MAX_LINE_BYTES) + " bytes");
        } else if (!command.empty() && command[0] != '#') {
            const std::string reason = Execute(command, args);
            if (!reason.empty()) {
                Complain(reason);
            }
        }
    }
    RunParallel();  // a block still open at the end is played as if joined
    DeliverHeldAtStop();
}

bool Player::ReadLine(std::string& line, bool& tooLong)
{
    char chunk[MAX_LINE_BYTES + 2];
    line.clear();
    tooLong = false;
    while (std::fgets(chunk, sizeof chunk, file) != nullptr && !stopping) {
        const size_t length = std::strlen(chunk);
        const bool ended = length > 0 && chunk[length - 1] == '\n';
        line.append(chunk, length - (ended ? 1 : 0));
        if (line.size() > MAX_LINE_BYTES) {
            tooLong = true;
            line.clear();
        }
        if (ended) {
            return true;
        }
    }
    return !stopping && (tooLong || !line.empty());  // a last line without a line break
}

std::string Player::Execute(const std::string& command, const Words& args)
{
    if (command == "app") {
        return DeclareApp(args);
    }
    if (command == "restart-ret") {
        return SetRestartResult(args);
    }
    if (command == "sleep") {
        return Pause(args);
    }
    if (command == "state") {
        return Change(args);
    }
    if (command == "stop-state") {
        return HoldForStop(args);
    }
    if (command == "parallel") {
        return StartParallel(args);
    }
    if (command == "join") {
        return JoinParallel(args);
    }
    return "unknown command '" + Escaped(command) + "'";
}

std::string Player::StartParallel(const Words& args)
{
    const std::optional<int64_t> threads =
        args.size() == 1 ? ParseInteger(args[0], 1, MAX_PARALLEL_THREADS) : std::nullopt;
    if (!threads) {
        return "expected 'parallel N' with N in 1..64";
    }
    if (parallelThreads != 0) {
        return "'parallel' inside a parallel block";
    }
    parallelThreads = static_cast<size_t>(*threads);
    return "";
}

std::string Player::JoinParallel(const Words& args)
{
    if (!args.empty()) {
        return "expected 'join'";
    }
    if (parallelThreads == 0) {
        return "'join' without 'parallel'";
    }
    RunParallel();
    return "";
}

std::string Player::Pause(const Words& args)
{
    const std::optional<double> seconds = args.size() == 1 ? ParseSeconds(args[0]) : std::nullopt;
    if (!seconds) {
        return "expected 'sleep SECONDS'";
    }
    std::unique_lock<std::mutex> lock(sleepMutex);
    sleepEnd.wait_for(lock, std::chrono::duration<double>(*seconds), [this] { return stopping.load(); });
    return "";
}

std::string Player::Change(const Words& args)
{
    const std::optional<StateChange> change = ParseChange(args);
    if (!change) {
        return "expected 'state NAME PID STATE'";
    }
    if (parallelThreads == 0) {
        Deliver(*change);
    } else if (parallelChanges.size() < MAX_PARALLEL_CHANGES) {
        parallelChanges.push_back(*change);
    } else {
        return "a parallel block holds at most " + std::to_string(MAX_PARALLEL_CHANGES) + " state changes";
    }
    return "";
}

std::string Player::HoldForStop(const Words& args)
{
    const std::optional<StateChange> change = ParseChange(args);
    if (!change) {
        return "expected 'stop-state NAME PID STATE'";
    }
    if (heldForStop.size() >= MAX_HELD_CHANGES) {
        return "at most " + std::to_string(MAX_HELD_CHANGES) + " state changes are held for the stop";
    }
    heldForStop.push_back(*change);
    return "";
}

// Waits for Stop, then delivers the held changes in their order on this thread, as the service
// would deliver a change that comes while it stops.
void Player::DeliverHeldAtStop()
{
    if (heldForStop.empty()) {
        return;
    }
    std::unique_lock<std::mutex> lock(sleepMutex);
    sleepEnd.wait(lock, [this] { return stopping.load(); });
    lock.unlock();
    for (const StateChange& change : heldForStop) {
        DeliverStateChange(change.app, change.pid, change.state);
    }
}

void Player::RunParallel()
{
    const std::vector<StateChange> changes = std::move(parallelChanges);
    parallelChanges.clear();
    const size_t workers = std::min(parallelThreads, changes.size());
    parallelThreads = 0;
    std::vector<std::thread> threads;
    for (size_t first = 0; first < workers; ++first) {
        const auto deliverShare = [this, &changes, first, workers] {
            for (size_t i = first; i < changes.size(); i += workers) {
                Deliver(changes[i]);
            }
        };
        try {
            threads.emplace_back(deliverShare);
        } catch (const std::system_error& error) {
            Note("group-owner script '%s': no thread for a parallel share (%s); played in line", Escaped(path).c_str(),
                 error.what());
            deliverShare();
        }
    }
    for (std::thread& worker : threads) {
        worker.join();
    }
}

void Player::Deliver(const StateChange& change) const
{
    if (!stopping) {
        DeliverStateChange(change.app, change.pid, change.state);
    }
}

void Player::Complain(const std::string& reason) const
{
    Note("group-owner script '%s' line %zu: %s; skipped", Escaped(path).c_str(), lineNumber, reason.c_str());
}

// Never destroyed, like the service: a player must not be joined while the process exits.
std::mutex& PlayerMutex()
{
    static auto* const mutex = new std::mutex;
    return *mutex;
}

std::unique_ptr<Player>& CurrentPlayer()
{
    static auto* const player = new std::unique_ptr<Player>;
    return *player;
}

}  // namespace

void StartScript()
{
    const std::string path = Locked([](Platform& platform) {
        const bool first = !platform.scriptStarted;
        platform.scriptStarted = true;
        return first ? platform.settings.scriptPath : std::string();
    });
    if (!path.empty()) {
        const std::lock_guard<std::mutex> lock(PlayerMutex());
        CurrentPlayer() = Player::Open(path);
    }
}

void StopScript()
{
    const std::lock_guard<std::mutex> lock(PlayerMutex());
    CurrentPlayer().reset();
}

}  // namespace ProcMgr::Sim
