// The end of a round: what the hub does between the tasks, and how it finds the end of the run.

#include <algorithm>
#include <utility>

#include "runtime/engine/flow.h"
#include "runtime/engine/task_graph.h"
#include "runtime/files/stream_wait.h"

namespace libzepl {

namespace {

// After so many rounds at most the hub looks whether a stream's reader waits for what is written already.
constexpr std::uint64_t roundsBetweenFlushes = 64;

// Marks an output that depends on no input. False when it has no limit, so that nothing would end it.
template <class Output>
bool settleOutput(Output& output, const TaskSet& onInput) {
    const auto& channel = *output.end.channel;
    if (channel.inputWrites || channel.writer == nullptr) return true;
    output.independent = !onInput[channel.writer->task->number - 1];
    return !output.independent || output.limit.has_value();
}

template <class Outputs>
bool allComplete(const Outputs& outputs) {
    return std::all_of(outputs.begin(), outputs.end(), [](const auto& output) { return output.complete(); });
}

// An output with a limit is wanted up to there, whatever brings it.
template <class Outputs>
std::uint64_t lastLimitedRound(const Outputs& outputs) {
    std::uint64_t last = 0;
    for (const auto& output : outputs)
        if (output.limit) last = std::max(last, output.lastRound);
    return last;
}

}  // namespace

// Generators go on for the outputs alone that lack something yet; beside inputs, for those that depend on no input.
void Engine::findGeneratorReaders() {
    TaskSet writers(tasks.size(), false);
    const auto addWriter = [&](const auto& output) {
        const auto* writer = output.end.channel->writer;
        if (output.end.mode != EndMode::reading || writer == nullptr) return;
        if (output.independent || !hasInputs()) writers[writer->task->number - 1] = true;
    };
    std::for_each(pipeOutputs.begin(), pipeOutputs.end(), addWriter);
    std::for_each(triggerOutputs.begin(), triggerOutputs.end(), addWriter);
    const TaskSet wanted = withAllBefore(*this, std::move(writers));
    for (Task& task : tasks) task.takesGenerators = wanted[task.number - 1];
}

// The first round at whose end a lack of movement could mean something.
std::uint64_t Engine::nextQuietLook() const {
    const std::uint64_t quiet = std::min(lastChange, std::max({lastFedTake, lastGrowth, lastDelivery})) + quietRounds;
    return std::min(quiet, lastPatienceLook + patienceRounds());
}

// Whether the hub has something to do at the end of this round; it runs in the task that ends it. Inputs that stand in
// memory are given here, without the way to the hub and back.
bool Engine::hubNeeded() {
    if (hubWanted || !settled || !pausing.empty() || stops()) return true;
    if (round + 1 >= hubRound) {
        hubRound = nextQuietLook();
        if (round + 1 >= hubRound) return true;
    }
    if (inputsStandInMemory)
        deliverOnce();
    else if (inputCanDeliver())
        return true;
    return readyCount == 0;
}

// Lets the inputs give, at most once in a round.
void Engine::deliverOnce() {
    if (deliveryRound == round) return;
    deliveryRound = round;
    if (deliverInputs()) lastDelivery = round;
}

// Every task has run once: who reads and who writes is known.
void Engine::settle() {
    settled = true;
    for (Pipe& pipe : pipes) notifyWriter(*this, pipe);
    for (Trigger& trigger : triggers) notifyWriter(*this, trigger);
    const bool setUpFailed = std::any_of(tasks.begin(), tasks.end(), [](const Task& task) {
        return task.outcome.state == TaskReport::State::error || task.outcome.state == TaskReport::State::refused;
    });
    if (setUpFailed) return finish(RunEnd::refused);
    joinCycles(*this);
    const TaskSet onInput = tasksOnInputs(*this);
    const auto refuse = [&](const std::string& name) {
        reasonChannel = name;
        finish(RunEnd::refused, "the output of `" + name + "` depends on no input, so nothing would end it",
               "give it a limit: to FILE limit N");
    };
    for (PipeOutput& output : pipeOutputs)
        if (!settleOutput(output, onInput)) return refuse(output.end.channel->name);
    for (TriggerOutput& output : triggerOutputs)
        if (!settleOutput(output, onInput)) return refuse(output.end.channel->name);
    findGeneratorReaders();
    if (options.setUpOnly) finish(RunEnd::setUpsRan);
}

void Engine::endRound() {
    const bool outputsWait = hubWanted || !settled;
    hubWanted = false;
    if (!settled) settle();
    if (end != RunEnd::goesOn) return;
    try {
        if (outputsWait) drainOutputs();
        const bool anyOutput = !pipeOutputs.empty() || !triggerOutputs.empty();
        if (anyOutput && allComplete(pipeOutputs) && allComplete(triggerOutputs)) return finish(RunEnd::complete);
        if (stops()) return finish(RunEnd::stopped);
        deliverOnce();
        if (hasLiveInputs && lastDelivery != round && awaitLiveInputs()) {
            if (stops()) return finish(RunEnd::stopped);
            deliveryRound = 0;
            deliverOnce();
        }
        if (hasStreamOutputs) flushStreamsInTime();
        if (lastDelivery == round) tellProgress();
    } catch (const Interrupted&) {
        return finish(RunEnd::stopped);
    } catch (const Problem& problem) {
        return finish(RunEnd::failed, problem.what(), problem.remedy());
    }
    advanceQuietRun();
    hubRound = nextQuietLook();
    if (hasStreamOutputs) hubRound = std::min(hubRound, round + roundsBetweenFlushes);
}

// Tells the caller how far the inputs are, some times a second.
void Engine::tellProgress() {
    if (!options.progress || (++deliveries & 63) != 0) return;
    const auto now = std::chrono::steady_clock::now();
    if (now - lastProgress < std::chrono::milliseconds(100)) return;
    lastProgress = now;
    Progress progress;
    progress.expected = 0;
    progress.seconds = std::chrono::duration<double>(now - began).count();
    for (const PipeInput& input : pipeInputs) {
        progress.delivered += input.delivered;
        if (progress.expected && input.length)
            *progress.expected += *input.length;
        else
            progress.expected.reset();
    }
    options.progress(progress);
}

bool Engine::inputsEndedOrHeld() {
    const auto held = [](const auto& channel) { return !channel.dropping && channel.written >= channel.writableUntil; };
    bool framesComeYet = false;
    for (PipeInput& input : pipeInputs) {
        lookAtReaders(*this, *input.pipe);
        if (!input.ended && !held(*input.pipe)) return false;
        framesComeYet |= !input.ended;
    }
    // Rows that wait for frames are held up with them.
    if (framesComeYet) return true;
    for (TriggerInput& input : triggerInputs) {
        lookAtReaders(*this, *input.trigger);
        if (!input.ended() && !held(*input.trigger)) return false;
    }
    return true;
}

// When the next pause ends; there is one.
std::uint64_t Engine::nextDue() const {
    const auto sooner = [](const Task* a, const Task* b) { return a->due < b->due; };
    return (*std::min_element(pausing.begin(), pausing.end(), sooner))->due;
}

// Lets the pauses end that are due. While nothing that matters to the inputs moves, time jumps to the next of them.
void Engine::endPauses() {
    if (pausing.empty()) return;
    if (round - std::max({lastFedTake, lastDelivery, lastGrown, lastJump}) >= quietRounds) {
        clock.jumpTo(nextDue());
        lastJump = round;
        jumpsLeft = mostJumps;
    }
    const auto stillPauses = [&](const Task* task) { return task->due > clock.now(); };
    const auto firstDue = std::stable_partition(pausing.begin(), pausing.end(), stillPauses);
    for (auto task = firstDue; task != pausing.end(); ++task) {
        if ((*task)->waitsOn) lastDrivenPause = round;
        pushReady(**task);
    }
    if (firstDue != pausing.end()) lastChange = round;
    pausing.erase(firstDue, pausing.end());
}

// The last round in which something happened that keeps the run going.
std::uint64_t Engine::lastUseful() const {
    return std::max({lastFedTake, lastDelivery, lastDrivenPause, lastDrivenPut, lastLimitedRound(pipeOutputs),
                     lastLimitedRound(triggerOutputs)});
}

// When nothing moved for some rounds: lets a channel grow, or the run end.
void Engine::advanceQuietRun() {
    if (round - std::max({lastFedTake, lastGrowth, lastDelivery}) >= quietRounds) {
        if (growOne()) lastChange = lastGrown = round;
        lastGrowth = round;
    }
    if (end != RunEnd::goesOn) return;
    endPauses();
    // What an input gives where nobody reads changes nothing, but it puts off the look whether a channel must grow.
    const bool quiet = pausing.empty() && round - std::max(lastChange, lastDelivery) >= quietRounds;
    const bool endless = round - lastUseful() >= recentRounds;
    if ((quiet || endless) && inputsEndedOrHeld())
        quiet ? finish(RunEnd::quiet) : finishEndless();
    else if (round - lastPatienceLook >= patienceRounds())
        lookAtPatience();
}

void Engine::finish(RunEnd runEnd, std::string why, std::string whatToDo) {
    if (end != RunEnd::goesOn) return;
    end = runEnd;
    reason = std::move(why);
    remedy = std::move(whatToDo);
}

}  // namespace libzepl
