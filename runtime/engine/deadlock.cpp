#include "runtime/engine/deadlock.h"

#include <algorithm>
#include <set>
#include <variant>
#include <vector>

#include "runtime/engine/flow.h"
#include "runtime/wording.h"

namespace libzepl {

namespace {

// The smallest full channel that a chain of starved tasks ends at.
struct DeadlockSearch {
    Engine& e;
    std::vector<bool> visited = std::vector<bool>(e.graph.lastTaskNumber(), false);
    // Channels to follow, the next one last: a chain can be longer than the stack would bear by calls.
    std::vector<std::variant<Pipe*, Trigger*>> unfollowed{};
    std::variant<std::monostate, Pipe*, Trigger*> found{};
    std::uint64_t capacity = ~std::uint64_t{0};  // of what was found
    bool metPause = false;                       // a chain has led to a task that pauses

    bool hasFound() const { return found.index() != 0; }

    template <class ChannelType>
    void add(ChannelType& candidate) {
        if (candidate.capacity >= capacity) return;
        capacity = candidate.capacity;
        found = &candidate;
    }

    void addWaiting(const Task& task) {
        std::visit([this](const auto* port) { add(*port->channel); }, task.waitingAt);
    }

    template <class PortType>
    bool isStarved(const PortType& port) const {
        return port.mode == PortMode::reading &&
               (port.wanted != 0 || (port.underrunRound != 0 && port.underrunRound + quietRounds >= e.scheduler.round));
    }

    // Follows all that the task is starved of, to the ends of the chains.
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
        metPause |= task.state == TaskState::pausing;
        if (task.state == TaskState::waitingForRoom) return addWaiting(task);
        for (auto port = task.triggerPorts.rbegin(); port != task.triggerPorts.rend(); ++port)
            if (isStarved(*port)) unfollowed.push_back(port->channel);
        for (auto port = task.pipePorts.rbegin(); port != task.pipePorts.rend(); ++port)
            if (isStarved(*port)) unfollowed.push_back(port->channel);
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
        const bool hasAll = output.port.mode != PortMode::reading || output.port.available() == 0;
        if (output.complete() || !hasAll) return;
        followChannel(*output.port.channel);
        followRest();
    }
    // It is starved of the members that are behind; what holds up their writers can be that another member is full.
    void followOutput(FrameOutput& output) {
        if (!output.isOpen() || output.complete()) return;
        for (FrameOutput::Member& member : output.members)
            if (member.isBehind()) followChannel(*member.port.channel);
        followRest();
    }

    // An input that has not ended waits on its channel when that is full.
    void followInput(Pipe& channel) {
        for (const PipeInput& input : e.graph.pipeInputs)
            if (input.pipe == &channel && !input.ended && isFull(channel)) add(channel);
    }
    // Rows of a trigger come with the frames, so what holds up the frames holds up the events.
    void followInput(Trigger& channel) {
        for (const TriggerInput& input : e.graph.triggerInputs) {
            if (input.trigger != &channel || input.ended()) continue;
            if (isFull(channel)) return add(channel);
            for (const PipeInput& frames : e.graph.pipeInputs) followInput(*frames.pipe);
        }
    }
    template <class ChannelType>
    static bool isFull(const ChannelType& channel) {
        return !channel.discarding && channel.writePosition >= channel.writeLimit;
    }
};

// FullCycles of tasks that each wait for room which only the next can make, so that none of them finds a channel empty. What
// circulates by itself is left to end with the inputs; only a cycle that they feed is worth growing. Each task is followed
// once, and by a list: there can be thousands in a row.
class FullCycles {
 public:
    explicit FullCycles(DeadlockSearch& search)
        : search_(search), marks_(search.e.graph.lastTaskNumber(), Mark::unseen) {}

    void follow(const Task& first) {
        enter(first);
        while (!path_.empty()) {
            const Task* next = nextHeldUp(path_.back());
            if (next == nullptr)
                leave();
            else if (marks_[next->number - 1] == Mark::onWay)
                addCycle(*next);
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
        path_.push_back({&task});
    }
    void leave() {
        marks_[path_.back().task->number - 1] = Mark::followed;
        path_.pop_back();
    }

    // The next task that could make room for the step's task; null after the last.
    static const Task* nextHeldUp(Step& step) {
        const Task& task = *step.task;
        return std::visit([&](const auto* port) { return nextFull(*port->channel, step.reader); }, task.waitingAt);
    }
    template <class ChannelType>
    static const Task* nextFull(const ChannelType& channel, std::size_t& next) {
        while (next < channel.readers.size()) {
            const auto& reader = *channel.readers[next++];
            if (reader.task != nullptr && reader.available() >= channel.capacity) return reader.task;
        }
        return nullptr;
    }

    void addCycle(const Task& first) {
        const auto isFirst = [&](const Step& step) { return step.task == &first; };
        const auto begin = std::find_if(path_.begin(), path_.end(), isFirst);
        if (std::none_of(begin, path_.end(), [](const Step& step) { return isInputDriven(*step.task); })) return;
        std::for_each(begin, path_.end(), [&](const Step& step) { search_.addWaiting(*step.task); });
    }

    DeadlockSearch& search_;
    std::vector<Mark> marks_;
    std::vector<Step> path_{};
};

// A task that pauses waits for time, and time moves with the inputs. Finds the channels that such a task would take from, and
// that hold up an input for want of it; tasks that wait for room can be between.
class TimeHolders {
 public:
    explicit TimeHolders(DeadlockSearch& search) : search_(search), seen_(search.e.graph.lastTaskNumber(), false) {
        for (FrameOutput& output : search.e.graph.frameOutputs) {
            DeadlockSearch members{search.e};
            members.followOutput(output);
            if (members.metPause)
                for (const FrameOutput::Member& member : output.members) awaitingPause_.insert(&member.port);
        }
    }

    void follow(Pipe& inputPipe) {
        followReaders(inputPipe);
        while (!path_.empty()) {
            const Task& task = *path_.back();
            path_.pop_back();
            std::visit([this](const auto* port) { followReaders(*port->channel); }, task.waitingAt);
        }
    }

 private:
    template <class ChannelType>
    void followReaders(ChannelType& channel) {
        for (const auto* reader : channel.readers) {
            if (reader->available() < channel.capacity) continue;
            if (awaitingPause_.contains(reader)) search_.add(channel);
            if (reader->task == nullptr) continue;
            const Task& task = *reader->task;
            if (task.state == TaskState::pausing) search_.add(channel);
            if (task.state != TaskState::waitingForRoom || seen_[task.number - 1]) continue;
            seen_[task.number - 1] = true;
            path_.push_back(&task);
        }
    }

    DeadlockSearch& search_;
    std::vector<bool> seen_;
    std::vector<const Task*> path_{};
    std::set<const void*> awaitingPause_{};  // the ports of outputs that wait for what a pausing task will write
};

// Finds what keeps the frames from coming that belong to the time before the next pause ends.
void addHoldersOfTime(DeadlockSearch& search) {
    Engine& e = search.e;
    if (e.timing.pausing.empty() || e.timing.clock.framesUntil(e.timing.nextDue()) == 0) return;
    TimeHolders holders(search);
    for (PipeInput& input : e.graph.pipeInputs)
        if (!input.ended && DeadlockSearch::isFull(*input.pipe)) holders.follow(*input.pipe);
}

void addCycles(DeadlockSearch& search) {
    FullCycles cycles(search);
    for (const Task& task : search.e.graph.tasks) cycles.follow(task);
}

// "; `levels.csv` waits for `peak`, which is 4096 samples behind `rms`", of each output that waits for one of its pipes.
std::string heldUpOutputs(const Engine& e) {
    std::string text;
    for (const FrameOutput& output : e.graph.frameOutputs) {
        if (!output.isHeldUp()) continue;
        const auto [behind, ahead] =
            std::minmax_element(output.members.begin(), output.members.end(),
                                [](const auto& a, const auto& b) { return a.frames() < b.frames(); });
        text += "; `" + output.name + "` waits for `" + behind->port.channel->name + "`, which is " +
                counted(ahead->frames(), ahead->channels == 1 ? "sample" : "frame") + " behind `" +
                ahead->port.channel->name + "`";
    }
    return text;
}

// Doubles what was found. False when there is no memory for it.
bool growFound(Engine& e, const DeadlockSearch& search) {
    const std::uint64_t doubled = search.capacity * 2;
    if (const auto* pipe = std::get_if<Pipe*>(&search.found)) return tryCapacity(e, **pipe, doubled);
    return tryCapacity(e, *std::get<Trigger*>(search.found), doubled);
}

}  // namespace

bool resolveDeadlock(Engine& e) {
    DeadlockSearch search{e};
    for (Task& task : e.graph.tasks)
        if (task.state != TaskState::ended && task.state != TaskState::waitingForRoom) search.followChains(task);
    e.graph.forEachOutput([&](auto& output) { search.followOutput(output); });
    const bool isStarving = search.hasFound();
    if (!isStarving) addCycles(search);
    const bool isForTime = !search.hasFound();
    if (isForTime) addHoldersOfTime(search);
    if (!search.hasFound() || growFound(e, search)) return search.hasFound();
    if (isForTime) return false;  // then time passes without the frames
    const bool isPipe = std::holds_alternative<Pipe*>(search.found);
    const std::string heldUp = heldUpOutputs(e);
    e.outcome.finish(RunEnd::failed,
                     (isPipe ? "the pipe `" + std::get<Pipe*>(search.found)->name
                             : "the trigger `" + std::get<Trigger*>(search.found)->name) +
                         "` needs more than " + std::to_string(search.capacity) + (isPipe ? " elements" : " events") +
                         " to keep the procedure moving, and no memory is left for it" + heldUp,
                     !heldUp.empty() ? "raise --memory, or write the pipes to files of their own"
                     : isStarving    ? "raise --memory, or let its reader keep pace with its other branch"
                                     : "raise --memory, or let the loop take no more in than it gives out");
    return true;
}

}  // namespace libzepl
