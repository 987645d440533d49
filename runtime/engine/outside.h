// What other threads ask of a session. It is done at the end of a round, before outputs drain, in the order of the calls.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "runtime/live.h"
#include "runtime/live/tap_state.h"
#include "runtime/live/wake.h"

namespace libzepl {

struct Engine;
struct Pipe;
struct Trigger;
struct Variable;
struct Cell;

class Outside {
 public:
    using Phase = Snapshot::Phase;
    using Request = std::function<void(Engine&)>;

    // From any thread.
    bool isAsked() const noexcept { return asked_.load(std::memory_order_relaxed); }
    // False where the run has ended, so that nobody serves the request.
    bool ask(Request request);
    // How the run stands: by `make` on the session's thread, or on this one where the run has not begun or has ended.
    Snapshot snapshot(Engine& e, Snapshot (*make)(const Engine& e), std::chrono::milliseconds patience);

    // From now on requests wait for the session's thread.
    void begin();
    // By that thread: before anything runs, at the end of a round, and after all.
    void serve(Engine& e);
    void end(Engine& e);
    // Around a sleep on `wake`: false, and nothing to disarm, where something is asked for by then.
    bool arm();
    void disarm() { wake.disarm(); }

    Wake wake;
    // By the session's thread:
    std::uint64_t valuesSet = 0;
    bool isPaused = false;  // the run is to be held

 private:
    Phase phaseOfRun() const { return isPaused && phase_ == Phase::running ? Phase::paused : phase_; }

    std::mutex mutex_;
    std::condition_variable answered_;
    std::atomic<bool> asked_{false};
    std::vector<Request> requests_;
    Phase phase_ = Phase::unstarted;
    Snapshot last_;
};

// A tap, and where it looks.
template <class ChannelType>
struct Watch {
    ChannelType* channel;
    std::shared_ptr<TapState> tap;
};
struct Watches {
    bool any() const { return !pipes.empty() || !triggers.empty(); }

    std::vector<Watch<Pipe>> pipes;
    std::vector<Watch<Trigger>> triggers;
};

// Serves what is asked for. True where a result may depend on it.
bool serveOutside(Engine& e);

// Gives a variable the value that another thread set. All such values come this way.
void applyValue(Engine& e, Variable& variable, const Cell& value);

// Shows the taps what was written since the last time. True where one is detached. A tap that is just looked at is shown it the
// next time, but for the last chance before the session sleeps.
bool showTaps(Engine& e, bool isLastChance = false);
template <class ChannelType>
void showTaps(Engine& e, ChannelType& channel);  // those of one channel, whose storage is about to change
// Shows those of a channel without readers what it is given and does not keep, before its write position moves.
template <class ChannelType>
void showDiscarded(Engine& e, ChannelType& channel, const void* elements, std::uint64_t n);
void attachTap(Engine& e, Pipe& pipe, std::shared_ptr<TapState> tap);
void attachTap(Engine& e, Trigger& trigger, std::shared_ptr<TapState> tap);
void releaseDetachedTaps(Engine& e);
void finishTaps(Engine& e);

}  // namespace libzepl
