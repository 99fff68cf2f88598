// Plays a group-owner script on a thread of its own: declarations go to the handler as they are
// read, state changes are delivered one by one or, inside parallel ... join, from several threads.
#ifndef PLATFORM_SIM_SCRIPT_PLAYER_H
#define PLATFORM_SIM_SCRIPT_PLAYER_H

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/sim/script_line.h"
#include "platform/sim/sim_output.h"
#include "platform/sim/sim_settings.h"

namespace ProcMgr::Sim {

// Caps the state changes a parallel block holds before its join.
constexpr size_t MAX_PARALLEL_CHANGES = 4096;

class ScriptHandler {
public:
    virtual void DeclareApp(const AppDeclaration& app) = 0;
    virtual void SetRestartResult(const RestartResult& restart) = 0;
    // Called from the player thread or, inside a parallel block, from several threads at once.
    virtual void Deliver(const StateChange& change) = 0;

protected:
    ~ScriptHandler() = default;
};

class ScriptPlayer {
public:
    // Opens the script (a regular file, or a FIFO read as lines arrive) and starts playing it.
    // nullptr, reported once, when it cannot be opened or played.
    static std::unique_ptr<ScriptPlayer> Open(const std::string& path, ScriptHandler& handler, Reporter report);

    // Stops the player at once, even in a sleep or on an idle FIFO, and joins it and its parallel
    // threads: no handler call is running or starts once this returns.
    ~ScriptPlayer();

    ScriptPlayer(const ScriptPlayer&) = delete;
    ScriptPlayer& operator=(const ScriptPlayer&) = delete;

private:
    ScriptPlayer(std::string scriptPath, ScriptHandler& scriptHandler, Reporter reporter, UniqueFd scriptFd,
                 UniqueFd stopFd);

    void Play();
    // false once the player is stopping.
    bool Execute(const ScriptLine& line, size_t lineNumber);
    void PlayChange(const StateChange& change, size_t lineNumber);
    void StartParallel(const ParallelStart& parallel, size_t lineNumber);
    void JoinParallel(size_t lineNumber);
    void RunParallel();
    void DeliverUnlessStopped(const StateChange& change);
    void WaitForStop(std::chrono::nanoseconds duration) const;
    void Complain(size_t lineNumber, const std::string& reason) const;

    std::string path;
    ScriptHandler& handler;
    Reporter report;
    UniqueFd script;
    UniqueFd stopEvent;
    std::atomic<bool> stopping{false};
    // Touched by the player thread alone.
    uint32_t parallelThreads = 0;
    std::vector<StateChange> parallelChanges;
    std::thread thread;
};

}  // namespace ProcMgr::Sim

#endif
