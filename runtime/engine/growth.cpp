// Growth: a bounded channel must not stop a flow that an unbounded one would let run. When nothing moves, the tasks that
// found a channel empty, and the outputs that lack what they are to have, lead, from writer to writer, to one that waits on
// a full channel; the smallest of those is doubled. Where there is none, so is the smallest of a ring of full channels, or of
// those that hold up the inputs' time until a pause ends.

#include <algorithm>
#include <variant>
#include <vector>

#include "runtime/engine/flow.h"

namespace libzepl {

namespace {

// The smallest full channel that a chain of starving tasks ends at.
struct Candidates {
    Engine& e;
    std::vector<bool> visited = std::vector<bool>(e.tasks.size(), false);
    // Channels to follow, the next one last: a chain can be longer than the stack would bear by calls.
    std::vector<std::variant<Pipe*, Trigger*>> unfollowed{};
    Pipe* pipe = nullptr;
    Trigger* trigger = nullptr;
    std::uint64_t capacity = ~std::uint64_t{0};

    void add(Pipe& candidate) {
        if (candidate.capacity >= capacity) return;
        capacity = candidate.capacity;
        pipe = &candidate;
        trigger = nullptr;
    }
    void add(Trigger& candidate) {
        if (candidate.capacity >= capacity) return;
        capacity = candidate.capacity;
        trigger = &candidate;
        pipe = nullptr;
    }

    void addWaiting(const Task& task) {
        if (task.waitingPipe != nullptr)
            add(*task.waitingPipe->channel);
        else
            add(*task.waitingTrigger->channel);
    }

    template <class EndType>
    bool starves(const EndType& end) const {
        return end.mode == EndMode::reading &&
               (end.wanted != 0 || (end.shortRound != 0 && end.shortRound + quietRounds >= e.round));
    }

    // Follows all that the task starves of, to the ends of the chains.
    void followChains(Task& task) {
        followTask(task);
        followRest();
    }
    void followRest() {
        while (!unfollowed.empty()) {
            const auto channel = unfollowed.back();
            unfollowed.pop_back();
            std::visit([this](auto* each) { followChannel(*each); }, channel);
        }
    }

    void followTask(Task& task) {
        if (visited[task.number - 1] || task.state == TaskState::ended) return;
        visited[task.number - 1] = true;
        if (task.state == TaskState::waitingForRoom) return addWaiting(task);
        for (auto end = task.triggerEnds.rbegin(); end != task.triggerEnds.rend(); ++end)
            if (starves(*end)) unfollowed.push_back(end->channel);
        for (auto end = task.pipeEnds.rbegin(); end != task.pipeEnds.rend(); ++end)
            if (starves(*end)) unfollowed.push_back(end->channel);
    }

    template <class ChannelType>
    void followChannel(ChannelType& channel) {
        if (channel.writer != nullptr)
            followTask(*channel.writer->task);
        else if (channel.inputWrites)
            followInput(channel);
    }

    template <class Output>
    void followOutput(Output& output) {
        const bool hasAll = output.end.mode != EndMode::reading || output.end.available() == 0;
        if (output.complete() || !hasAll) return;
        followChannel(*output.end.channel);
        followRest();
    }

    // An input that has not ended waits on its channel when that is full.
    void followInput(Pipe& channel) {
        for (const PipeInput& input : e.pipeInputs)
            if (input.pipe == &channel && !input.ended && isFull(channel)) add(channel);
    }
    // Rows of a trigger come with the frames, so what holds up the frames holds up the events.
    void followInput(Trigger& channel) {
        for (const TriggerInput& input : e.triggerInputs) {
            if (input.trigger != &channel || input.ended()) continue;
            if (isFull(channel)) return add(channel);
            for (const PipeInput& frames : e.pipeInputs) followInput(*frames.pipe);
        }
    }
    template <class ChannelType>
    static bool isFull(const ChannelType& channel) {
        return !channel.dropping && channel.written >= channel.writableUntil;
    }
};

// Rings of tasks that each wait for room which only the next can make, so that none of them finds a channel empty. What
// goes round by itself is left to end with the inputs; only a ring that they feed is worth growing. Each task is followed
// once, and by a list: there can be thousands in a row.
class Rings {
 public:
    explicit Rings(Candidates& candidates) : candidates_(candidates), marks_(candidates.e.tasks.size(), Mark::unseen) {}

    void follow(const Task& first) {
        enter(first);
        while (!way_.empty()) {
            const Task* next = nextHeldUp(way_.back());
            if (next == nullptr)
                leave();
            else if (marks_[next->number - 1] == Mark::onWay)
                addRing(*next);
            else
                enter(*next);
        }
    }

 private:
    enum class Mark : std::uint8_t { unseen, onWay, followed };
    struct Step {
        const Task* task;
        std::size_t reader = 0;  // the next one to look at
    };

    void enter(const Task& task) {
        if (task.state != TaskState::waitingForRoom || marks_[task.number - 1] != Mark::unseen) return;
        marks_[task.number - 1] = Mark::onWay;
        way_.push_back({&task});
    }
    void leave() {
        marks_[way_.back().task->number - 1] = Mark::followed;
        way_.pop_back();
    }

    // The next task that could make room for the step's task; null behind the last.
    static const Task* nextHeldUp(Step& step) {
        const Task& task = *step.task;
        return task.waitingPipe != nullptr ? nextFull(*task.waitingPipe->channel, step.reader)
                                           : nextFull(*task.waitingTrigger->channel, step.reader);
    }
    template <class ChannelType>
    static const Task* nextFull(const ChannelType& channel, std::size_t& next) {
        while (next < channel.readers.size()) {
            const auto& reader = *channel.readers[next++];
            if (reader.task != nullptr && reader.available() >= channel.capacity) return reader.task;
        }
        return nullptr;
    }

    void addRing(const Task& first) {
        const auto isFirst = [&](const Step& step) { return step.task == &first; };
        const auto begin = std::find_if(way_.begin(), way_.end(), isFirst);
        if (std::none_of(begin, way_.end(), [](const Step& step) { return isDriven(*step.task); })) return;
        std::for_each(begin, way_.end(), [&](const Step& step) { candidates_.addWaiting(*step.task); });
    }

    Candidates& candidates_;
    std::vector<Mark> marks_;
    std::vector<Step> way_{};
};

// A task that pauses waits for time, and time moves with the inputs. Finds the channels that such a task would take from, and
// that hold up an input for want of it; tasks that wait for room can stand between.
class HeldTime {
 public:
    explicit HeldTime(Candidates& candidates) : candidates_(candidates), seen_(candidates.e.tasks.size(), false) {}

    void follow(Pipe& inputPipe) {
        followReaders(inputPipe);
        while (!way_.empty()) {
            const Task& task = *way_.back();
            way_.pop_back();
            if (task.waitingPipe != nullptr)
                followReaders(*task.waitingPipe->channel);
            else
                followReaders(*task.waitingTrigger->channel);
        }
    }

 private:
    template <class ChannelType>
    void followReaders(ChannelType& channel) {
        for (const auto* reader : channel.readers) {
            if (reader->task == nullptr || reader->available() < channel.capacity) continue;
            const Task& task = *reader->task;
            if (task.state == TaskState::pausing) candidates_.add(channel);
            if (task.state != TaskState::waitingForRoom || seen_[task.number - 1]) continue;
            seen_[task.number - 1] = true;
            way_.push_back(&task);
        }
    }

    Candidates& candidates_;
    std::vector<bool> seen_;
    std::vector<const Task*> way_{};
};

bool found(const Candidates& candidates) { return candidates.pipe != nullptr || candidates.trigger != nullptr; }

// Finds what keeps the frames from coming that belong to the time before the next pause ends.
void addHoldersOfTime(Candidates& candidates) {
    Engine& e = candidates.e;
    if (e.pausing.empty() || e.clock.framesUntil(e.nextDue()) == 0) return;
    HeldTime heldTime(candidates);
    for (PipeInput& input : e.pipeInputs)
        if (!input.ended && Candidates::isFull(*input.pipe)) heldTime.follow(*input.pipe);
}

}  // namespace

// Doubles the smallest candidate. False when there is none.
bool Engine::growOne() {
    Candidates candidates{*this};
    for (Task& task : tasks)
        if (task.state != TaskState::ended && task.state != TaskState::waitingForRoom) candidates.followChains(task);
    for (PipeOutput& output : pipeOutputs) candidates.followOutput(output);
    for (TriggerOutput& output : triggerOutputs) candidates.followOutput(output);
    const bool starving = found(candidates);
    Rings rings(candidates);
    if (!starving)
        for (const Task& task : tasks) rings.follow(task);
    const bool forTime = !found(candidates);
    if (forTime) addHoldersOfTime(candidates);
    if (!found(candidates)) return false;
    const std::uint64_t doubled = candidates.capacity * 2;
    const bool grown = candidates.pipe != nullptr ? tryCapacity(*this, *candidates.pipe, doubled)
                                                  : tryCapacity(*this, *candidates.trigger, doubled);
    const std::string channel = candidates.pipe != nullptr ? "the pipe `" + candidates.pipe->name + "`"
                                                           : "the trigger `" + candidates.trigger->name + "`";
    if (!grown && forTime) return false;  // then time passes without the frames
    if (!grown)
        finish(RunEnd::failed,
               channel + " needs more than " + std::to_string(candidates.capacity) +
                   (candidates.pipe != nullptr ? " elements" : " events") +
                   " to keep the procedure moving, and no memory is left for it",
               starving ? "raise --memory, or let its reader keep pace with its other branch"
                        : "raise --memory, or let the loop take no more in than it gives out");
    return true;
}

}  // namespace libzepl
