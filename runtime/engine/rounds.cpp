#include "runtime/engine/rounds.h"

#include <algorithm>
#include <cfenv>

#include "runtime/engine/deadlock.h"
#include "runtime/engine/flow.h"
#include "runtime/engine/inputs.h"
#include "runtime/engine/lanes.h"
#include "runtime/engine/outputs.h"
#include "runtime/engine/pause.h"
#include "runtime/engine/self_sustaining.h"
#include "runtime/engine/set_up.h"
#include "runtime/engine/stack_guard.h"
#include "runtime/engine/streams.h"
#include "runtime/files/stream_wait.h"

namespace libzepl {

namespace {

// After so many rounds at most the dispatcher looks whether a stream's reader waits for what is written already.
constexpr std::uint64_t roundsBetweenFlushes = 64;

bool outputsComplete(const Graph& graph) {
    bool any = false, all = true;
    graph.forEachOutput([&](const auto& output) {
        any = true;
        all = all && output.complete();
    });
    return any && all;
}

// Lets the inputs deliver, at most once in a round.
void deliverOnce(Engine& e) {
    if (e.feed.deliveryRound == e.scheduler.round) return;
    e.feed.deliveryRound = e.scheduler.round;
    if (deliverInputs(e)) e.activity.noteDelivery(e.scheduler.round);
}

// The same in the context of a task, after which nothing else comes from outside in the round.
void deliverForTask(Engine& e) {
    deliverOnce(e);
    if (e.recorder != nullptr) e.recorder->served(e.scheduler.round);
}

// The next round whose end the dispatcher must see, when nothing happens until then.
std::uint64_t nextServiceRound(const Engine& e) {
    const std::uint64_t check = e.activity.nextCheck(patienceRounds(e.options));
    return e.script == nullptr ? check : std::min(check, e.script->nextRound());
}

// Whether conclusions may be due at the end of the round.
bool isCheckDue(Engine& e, std::uint64_t round) {
    Scheduler& scheduler = e.scheduler;
    if (round + 1 < scheduler.nextServiceRound) return false;
    scheduler.nextServiceRound = nextServiceRound(e);
    return round + 1 >= scheduler.nextServiceRound;
}

// In the context of the task that ends the round, where most rounds of inputs in memory need no more than that.
bool serviceRoundEnd(Engine& e) {
    Scheduler& scheduler = e.scheduler;
    const bool tapDetached = e.watches.any() && showTaps(e);
    if (tapDetached || e.outside.isAsked() || !e.setUpDone || !e.timing.pausing.empty() || e.stopRequested())
        return true;
    if (scheduler.serviceRequested && !drainSmallOutputs(e)) return true;
    if (isCheckDue(e, scheduler.round)) return true;
    if (e.feed.inputsInMemory) {
        deliverForTask(e);
        if (scheduler.readyCount > 0) return false;
        // Inputs that were read in this round deliver in the next one, in which nothing else happens.
        if (isCheckDue(e, scheduler.round + 1)) return true;
        ++scheduler.round;
        deliverForTask(e);
    } else if (inputCanDeliver(e)) {
        return true;
    } else {
        updateRoom(e);
        if (inputCanDeliver(e)) return true;
    }
    return scheduler.readyCount == 0;
}

// Tells the caller how far the inputs are, some times a second.
void reportProgress(Engine& e) {
    if (!e.options.progress || (++e.feed.deliveries & 63) != 0) return;
    const auto now = std::chrono::steady_clock::now();
    if (now - e.feed.lastProgress < std::chrono::milliseconds(100)) return;
    e.feed.lastProgress = now;
    Progress progress;
    progress.expected = e.graph.expectedElements();
    progress.seconds = std::chrono::duration<double>(now - e.outcome.began).count();
    for (const PipeInput& input : e.graph.pipeInputs) progress.delivered += input.delivered;
    e.options.progress(progress);
}

// Inputs deliver; where only a live one can bring anything further, the session sleeps until it does.
void serveInputs(Engine& e) {
    holdPace(e);
    holdWhilePaused(e);
    if (e.stopRequested()) return e.outcome.finish(RunEnd::stopped);
    deliverOnce(e);
    const std::uint64_t round = e.scheduler.round;
    if (e.streams.hasLiveInputs && !e.activity.hasDelivered(round) && awaitLiveInputs(e)) {
        holdWhilePaused(e);
        if (e.stopRequested()) return e.outcome.finish(RunEnd::stopped);
        e.feed.deliveryRound = 0;
        deliverOnce(e);
    }
    if (e.recorder != nullptr) e.recorder->served(round);
    if (e.streams.hasOutputs) flushStreamsInTime(e);
    if (e.activity.hasDelivered(round)) reportProgress(e);
}

// Lets the pauses end that are due. While nothing that matters to the inputs moves, time jumps to the next of them.
void endPauses(Engine& e) {
    Timing& timing = e.timing;
    if (timing.pausing.empty()) return;
    const std::uint64_t round = e.scheduler.round;
    if (e.activity.isTimeAwaited(round)) {
        timing.clock.jumpTo(timing.nextDue());
        timing.jumpsLeft = maxJumps;
        e.activity.noteJump(round);
    }
    const auto stillPauses = [&](const Task* task) { return task->due > timing.clock.now(); };
    const auto firstDue = std::stable_partition(timing.pausing.begin(), timing.pausing.end(), stillPauses);
    for (auto task = firstDue; task != timing.pausing.end(); ++task) {
        if ((*task)->continuesWait) e.activity.noteDrivenPause(round);
        e.scheduler.pushReady(**task);
    }
    if (firstDue != timing.pausing.end()) e.activity.noteChange(round);
    timing.pausing.erase(firstDue, timing.pausing.end());
}

void concludeRound(Engine& e) {
    const std::uint64_t round = e.scheduler.round;
    if (e.lane == nullptr)
        drawConclusions(e);
    else if (e.activity.isDeadlockCheckDue(round) || e.activity.isQuiescent(round))
        e.lane->lanes.meet(*e.lane);
    if (!e.outcome.isRunning()) return;
    if (e.scheduler.round - e.activity.lastPatienceCheck() >= patienceRounds(e.options)) checkPatience(e);
}

void endRound(Engine& e) {
    const bool outputsWait = e.scheduler.serviceRequested || !e.setUpDone;
    e.scheduler.serviceRequested = false;
    if (e.watches.any() && showTaps(e)) releaseDetachedTaps(e);
    if (!e.setUpDone) finishSetUp(e);
    if (!e.outcome.isRunning()) return;
    serveOutside(e);
    if (e.script != nullptr) e.script->applyValues(e);
    try {
        if (!e.streams.started) startStreams(e);
        if (outputsWait) drainOutputs(e);
        if (e.lane == nullptr && outputsComplete(e.graph)) return e.outcome.finish(RunEnd::complete);
        if (e.stopRequested() || (e.script != nullptr && e.script->stops(e.scheduler.round)))
            return e.outcome.finish(RunEnd::stopped);
        serveInputs(e);
    } catch (const Interrupted&) {
        return e.outcome.finish(RunEnd::stopped);
    } catch (const Problem& problem) {
        if (e.recorder != nullptr) e.recorder->failed(e.scheduler.round, problem.what(), problem.remedy());
        return e.outcome.finish(RunEnd::failed, problem.what(), problem.remedy());
    }
    if (!e.outcome.isRunning()) return;
    concludeRound(e);
    e.scheduler.nextServiceRound = nextServiceRound(e);
    if (e.streams.hasOutputs)
        e.scheduler.nextServiceRound = std::min(e.scheduler.nextServiceRound, e.scheduler.round + roundsBetweenFlushes);
}

// How the processor computes, which tasks share: a switch between them leaves it as it is.
class Rounding {
 public:
    // Whether it is what it was at first; it is again.
    bool isKept() const {
        if (read() == atFirst_) return true;
#if defined(__x86_64__)
        __builtin_ia32_ldmxcsr((__builtin_ia32_stmxcsr() & exceptions) | atFirst_);
#else
        std::fesetround(atFirst_);
#endif
        return false;
    }

 private:
#if defined(__x86_64__)
    static constexpr unsigned exceptions = 63;  // that arithmetic has met
    static unsigned read() { return __builtin_ia32_stmxcsr() & ~exceptions; }
#else
    static int read() { return std::fegetround(); }
#endif
    const decltype(read()) atFirst_ = read();
};

void switchToTask(Engine& e, Task& task, const Rounding& rounding) {
    switchContext(e.scheduler.dispatcher, task.context);
    if (!rounding.isKept())
        e.outcome.finish(RunEnd::failed, "a command changed how the processor rounds, which all tasks share",
                         "a module's command that does so puts it back before it waits, and before it ends");
}

}  // namespace

void drawConclusions(Engine& e) {
    const std::uint64_t round = e.scheduler.round;
    if (e.activity.isDeadlockCheckDue(round)) e.activity.noteDeadlockCheck(round, resolveDeadlock(e));
    if (!e.outcome.isRunning()) return;
    endPauses(e);
    const bool quiescent = e.timing.pausing.empty() && e.activity.isQuiescent(round);
    if (!quiescent && !e.activity.isSelfSustaining(round)) return;
    updateInputLimits(e);
    if (!inputsEndedOrHeld(e) || closeShortOutputs(e)) return;
    if (quiescent)
        e.outcome.finish(RunEnd::quiescent);
    else
        finishSelfSustaining(e);
}

void releaseTask(Engine& e, Task& task) {
    forEachPort(task, [&](auto& port) { closePort(e, port); });
    releaseMemory(e, task);
}

void runRounds(Engine& e) {
    const StackGuard guard;
    const Rounding rounding;
    Scheduler& scheduler = e.scheduler;
    scheduler.roundEnds = serviceRoundEnd;
    scheduler.roundLeft = scheduler.readyCount;
    scheduler.ended.reserve(e.graph.tasks.size());
    // A task that ran over its stack comes here out of the signal's handler.
    if (sigsetjmp(scheduler.rescue, 1) != 0) StackGuard::afterRescue(e);
    while (e.outcome.isRunning()) {
        for (Task* task : scheduler.ended) releaseTask(e, *task);
        scheduler.ended.clear();
        if (Task* task = takeSetUp(e)) {
            switchToTask(e, *task, rounding);
            continue;
        }
        if (!e.outcome.isRunning()) break;
        if (scheduler.roundLeft == 0) {
            endRound(e);
            if (!e.outcome.isRunning()) break;
            scheduler.beginRound();
            if (scheduler.readyCount == 0) continue;
        }
        switchToTask(e, scheduler.takeReady(), rounding);
    }
}

}  // namespace libzepl
