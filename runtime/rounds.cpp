// The end of a round: what the hub does between the tasks, and how it finds the end of the run.

#include <algorithm>
#include <utility>

#include "runtime/files/stream_wait.h"
#include "runtime/flow.h"

namespace libzepl {

namespace {

// After so many rounds at most the hub looks whether a stream's reader waits for what is written already.
constexpr std::uint64_t roundsBetweenFlushes = 64;

// Finds every task that takes, at first or second hand, what an input gives. One that has ended already gives nothing
// more, just as one whose input has ended.
class TasksOnInputs {
 public:
    explicit TasksOnInputs(const Engine& e) : found_(e.tasks.size(), false) {
        for (const Task& task : e.tasks)
            if (task.state == TaskState::ended) add(task);
        for (const PipeInput& input : e.pipeInputs) addReaders(*input.pipe);
        for (const TriggerInput& input : e.triggerInputs) addReaders(*input.trigger);
        while (!unfollowed_.empty()) {
            const Task& task = *unfollowed_.back();
            unfollowed_.pop_back();
            for (const PipeEnd& end : task.pipeEnds) follow(end);
            for (const TriggerEnd& end : task.triggerEnds) follow(end);
        }
    }

    // In the order of the tasks.
    std::vector<bool> found() && { return std::move(found_); }

 private:
    void add(const Task& task) {
        if (found_[task.number - 1]) return;
        found_[task.number - 1] = true;
        unfollowed_.push_back(&task);
    }
    template <class ChannelType>
    void addReaders(const ChannelType& channel) {
        for (const auto* reader : channel.readers)
            if (reader->task != nullptr) add(*reader->task);
    }
    template <class EndType>
    void follow(const EndType& end) {
        if (end.channel->writer == &end) addReaders(*end.channel);
    }

    std::vector<bool> found_;
    std::vector<const Task*> unfollowed_;
};

// Marks an output that hangs on no input. False when it has no limit, so that nothing would end it.
template <class Output>
bool settleOutput(Output& output, const std::vector<bool>& onInput) {
    const auto& channel = *output.end.channel;
    if (channel.inputWrites || channel.writer == nullptr) return true;
    output.independent = !onInput[channel.writer->task->number - 1];
    return !output.independent || output.limit.has_value();
}

template <class Outputs>
bool allComplete(const Outputs& outputs) {
    return std::all_of(outputs.begin(), outputs.end(), [](const auto& output) { return output.complete(); });
}

template <class Outputs>
std::uint64_t lastIndependentRound(const Outputs& outputs) {
    std::uint64_t last = 0;
    for (const auto& output : outputs)
        if (output.independent) last = std::max(last, output.lastRound);
    return last;
}

}  // namespace

std::vector<bool> Engine::tasksOnInputs() const { return TasksOnInputs(*this).found(); }

// Without inputs, generators keep the run going only for outputs that lack something yet.
void Engine::findNeededTasks() {
    if (hasInputs()) return;
    for (Task& task : tasks) task.needed = false;
    bool changed = false;
    const auto markWriter = [&](const auto& readingEnd) {
        if (readingEnd.mode != EndMode::reading || readingEnd.channel->writer == nullptr) return;
        bool& needed = readingEnd.channel->writer->task->needed;
        changed |= !needed;
        needed = true;
    };
    for (const PipeOutput& output : pipeOutputs) markWriter(output.end);
    for (const TriggerOutput& output : triggerOutputs) markWriter(output.end);
    while (changed) {
        changed = false;
        for (Task& task : tasks) {
            if (!task.needed) continue;
            std::for_each(task.pipeEnds.begin(), task.pipeEnds.end(), markWriter);
            std::for_each(task.triggerEnds.begin(), task.triggerEnds.end(), markWriter);
        }
    }
}

// The first round at whose end a lack of movement could mean something.
std::uint64_t Engine::nextQuietLook() const {
    return std::min(lastChange, std::max({lastFedTake, lastGrowth, lastDelivery})) + quietRounds;
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
    const std::vector<bool> onInput = tasksOnInputs();
    const auto refuse = [&](const std::string& name) {
        reasonChannel = name;
        finish(RunEnd::refused, "the output of `" + name + "` hangs on no input, so nothing would end it",
               "give it a limit: to FILE limit N");
    };
    for (PipeOutput& output : pipeOutputs)
        if (!settleOutput(output, onInput)) return refuse(output.end.channel->name);
    for (TriggerOutput& output : triggerOutputs)
        if (!settleOutput(output, onInput)) return refuse(output.end.channel->name);
    findNeededTasks();
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

// Lets the pauses end that are due. While nothing that matters to the inputs moves, time jumps to the next of them.
void Engine::endPauses() {
    if (pausing.empty()) return;
    if (round - std::max({lastFedTake, lastDelivery, lastJump}) >= quietRounds) {
        const auto sooner = [](const Task* a, const Task* b) { return a->due < b->due; };
        clock.jumpTo((*std::min_element(pausing.begin(), pausing.end(), sooner))->due);
        lastJump = round;
    }
    const auto stillPauses = [&](const Task* task) { return task->due > clock.now(); };
    const auto firstDue = std::stable_partition(pausing.begin(), pausing.end(), stillPauses);
    for (auto task = firstDue; task != pausing.end(); ++task) pushReady(**task);
    if (firstDue != pausing.end()) lastChange = round;
    pausing.erase(firstDue, pausing.end());
}

// When nothing moved for some rounds: lets a channel grow, or the run end.
void Engine::advanceQuietRun() {
    if (round - std::max({lastFedTake, lastGrowth, lastDelivery}) >= quietRounds) {
        const bool grown = growOne();
        lastGrowth = round;
        if (grown) lastChange = round;
    }
    if (end != RunEnd::goesOn) return;
    endPauses();
    const std::uint64_t lastUseful =
        std::max({lastFedTake, lastDelivery, lastIndependentRound(pipeOutputs), lastIndependentRound(triggerOutputs)});
    // What an input gives where nobody reads changes nothing, but it puts off the look whether a channel must grow.
    const bool quiet = pausing.empty() && round - std::max(lastChange, lastDelivery) >= quietRounds;
    const bool endless = round - lastUseful >= recentRounds;
    if ((quiet || endless) && inputsEndedOrHeld()) finish(quiet ? RunEnd::quiet : RunEnd::endless);
}

void Engine::finish(RunEnd runEnd, std::string why, std::string whatToDo) {
    if (end != RunEnd::goesOn) return;
    end = runEnd;
    reason = std::move(why);
    remedy = std::move(whatToDo);
}

}  // namespace libzepl
