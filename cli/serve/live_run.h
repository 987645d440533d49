// The runs of a served procedure: one at a time, on a thread of its own, started and stopped from others.
#pragma once

#include <condition_variable>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "cli/run.h"
#include "cli/serve/console_log.h"
#include "cli/serve/watching.h"
#include "runtime/binder.h"
#include "runtime/commands.h"

namespace cli {

// How it stands, as a page is told.
struct RunState {
    enum class Phase { starting, running, paused, stopping, ended, refused };

    std::uint32_t run = 0;  // from 1
    Phase phase = Phase::starting;
    std::string status;  // of one that has ended: ok, failed or interrupted
    std::string text;    // mistakes and notes, as the terminal has them
    libzepl::Snapshot snapshot;
    std::vector<libzepl::VariableReport> starts;  // the variables as the procedure starts them
};

class LiveRun {
 public:
    // Where no pace is given recordings and generators keep to the wall clock, so that there is something to see; a pace of
    // "0" lets them run as fast as they can.
    LiveRun(const RunArguments& arguments, const libzepl::CommandLibrary& library,
            std::shared_ptr<libzepl::StopRequest> stop);
    LiveRun(const LiveRun&) = delete;
    LiveRun& operator=(const LiveRun&) = delete;
    // Stops the run, and waits for its end.
    ~LiveRun();

    // All from any thread. `start` has no effect while a run goes on, nor have the others while none does.
    void start();
    void stop();
    void setPaused(bool isPaused);
    // A Problem where there is no such variable, or where its type does not hold the value. The value is kept for the runs
    // that follow, as a knob stays where it is.
    void set(const std::string& variable, const libzepl::Number& value);
    std::shared_ptr<const RunState> state() const;
    std::shared_ptr<Watching> watching() const;  // of the run that is going on or was the last; null before the first
    ConsoleLog& console() { return console_; }
    int exitStatus() const { return exitStatus_; }  // of the last run

 private:
    struct Bound;

    void work();
    void runOnce();
    std::unique_ptr<Bound> bound();
    void begin(Bound& bound);
    void follow(Bound& bound);
    void end(Bound& bound);
    libzepl::BindOptions options(std::vector<libzepl::Diagnostic>& diagnostics);
    void publish(const std::function<void(RunState&)>& change);
    void changePhase(std::initializer_list<RunState::Phase> from, RunState::Phase to);
    std::optional<libzepl::Tap> watchLater(std::uint32_t run, const std::string& pipe);

    RunArguments arguments_;
    bool paceIsGiven_;
    const libzepl::CommandLibrary& library_;
    const std::shared_ptr<libzepl::StopRequest> stop_;
    ConsoleLog console_;

    mutable std::mutex mutex_;  // of all below
    std::condition_variable changed_;
    bool wanted_ = true;  // a run is to be started
    bool quits_ = false;
    std::shared_ptr<const RunState> state_;
    std::shared_ptr<Watching> watching_;
    libzepl::Session* session_ = nullptr;  // from when it is bound to when it is destroyed
    std::map<std::string, libzepl::Number> values_;
    int exitStatus_ = allWell;
    std::thread thread_;
};

}  // namespace cli
