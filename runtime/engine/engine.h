// A running session, in its parts. What concerns one part is the part's; what concerns several takes the engine, and is
// declared in the header of the file that defines it.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "runtime/engine/activity.h"
#include "runtime/engine/graph.h"
#include "runtime/engine/outcome.h"
#include "runtime/engine/outside.h"
#include "runtime/engine/pace.h"
#include "runtime/engine/run_log.h"
#include "runtime/engine/scheduler.h"
#include "runtime/engine/timing.h"
#include "runtime/session.h"
#include "runtime/stop_request.h"

namespace libzepl {

// How far inputs have given.
struct Feed {
    bool anyDelivery = false;
    bool inputsInMemory = false;                         // no input needs the dispatcher's stack to deliver
    std::uint64_t deliveryRound = 0;                     // the last round in which inputs were asked to deliver
    std::uint64_t furthestFrame = 0;                     // frames that the input which is furthest on has given
    std::uint64_t deliveries = 0;                        // rounds in which inputs gave something
    std::chrono::steady_clock::time_point lastProgress;  // when the caller was last told
};

// What of the session is live.
struct Streams {
    bool hasLiveInputs = false;  // some can have nothing yet, and more later
    bool hasOutputs = false;     // some are read while they are written
    bool started = false;
    bool drainsSmall = false;  // outputs may take what rounds give in the context of a task, and write it later
    std::chrono::steady_clock::time_point lastFlush;
};

struct Lane;

struct Engine {
    Engine(const CommandLibrary& commandLibrary, SessionOptions sessionOptions);
    // Of a part of a session.
    explicit Engine(Engine& whole);

    // What the run came to, by what is known so far.
    Report::Status status() const noexcept;
    bool stopRequested() const {
        return ownStop.requested() || (options.stop != nullptr && options.stop->requested()) ||
               (whole != nullptr && whole->ownStop.requested());
    }
    // Whether the sampling clock runs: from the first delivery on, or, without inputs, from when all set-ups have run.
    bool clockRuns() const { return feed.anyDelivery || (setUpDone && !graph.hasInputs()); }

    const std::uint32_t number;  // of all sessions; part of its ids
    // Where this engine runs a part of a session: that session's engine, and what the parts have in common.
    const Engine* const whole = nullptr;
    Lane* lane = nullptr;
    const CommandLibrary& library;
    SessionOptions options;
    StopRequest ownStop;
    bool started = false;    // the run has begun
    bool setUpDone = false;  // every task has run once
    Graph graph;
    Scheduler scheduler;
    Timing timing;
    Activity activity;
    Feed feed;
    Streams streams;
    Pace pace;
    Outside outside;
    Watches watches;
    std::vector<std::shared_ptr<LiveRing>> liveRings;  // that other threads push to
    std::vector<Charge> liveCharges;                   // what these take
    Outcome outcome;
    std::shared_ptr<RunRecorder> recorder;  // keeps what comes from outside; null where nobody does
    std::shared_ptr<RunScript> script;      // gives it again, in place of inputs that wait and of other threads
    // Called in a signal's handler when a task has damaged the memory of the process. It may come back.
    std::function<void(const char* what)> crashed;
};

// Runs `step`; a Problem of it is about the channel, or about the output, of that name.
template <class Named, class Step>
auto naming(Engine& e, const Named& named, const Step& step) {
    try {
        return step();
    } catch (const Problem&) {
        if (!e.stopRequested() && e.outcome.reasonChannel.empty()) e.outcome.reasonChannel = channelName(named);
        throw;
    }
}

// The engine of a session, for the parts of the runtime that go with it.
Engine& engineOf(Session& session);

// The session that runs on this thread, if any. The library is loaded at the program's start, so the fast model of
// thread-local access holds.
extern constinit thread_local Engine* engine [[gnu::tls_model("initial-exec")]];

// Makes an engine the thread's own while it lives.
class CurrentEngine {
 public:
    explicit CurrentEngine(Engine& e) : outer_(engine) { engine = &e; }
    CurrentEngine(const CurrentEngine&) = delete;
    CurrentEngine& operator=(const CurrentEngine&) = delete;
    ~CurrentEngine() { engine = outer_; }

 private:
    Engine* outer_;
};

}  // namespace libzepl
