#include "runtime/report/run_notes.h"

#include <algorithm>
#include <set>

#include "runtime/engine/self_sustaining.h"
#include "runtime/engine/task_graph.h"
#include "runtime/wording.h"

namespace libzepl {

namespace {

std::string thereAre(std::uint64_t n) { return std::to_string(n) + (n == 1 ? " is there" : " are there"); }

const char* unitOf(const Pipe&) { return "sample"; }
const char* unitOf(const Trigger&) { return "event"; }
const char* unitOf(const PipeOutput&) { return "sample"; }
const char* unitOf(const TriggerOutput&) { return "event"; }
const char* unitOf(const FrameOutput& output) { return output.isTable ? "row" : "frame"; }

bool leavesSomething(const Task& task) {
    bool leaves = false;
    forEachPort(task, [&](const auto& port) { leaves |= port.mode == PortMode::reading && port.available() > 0; });
    return leaves;
}

bool waitsWhereNobodyReads(const Task& task) {
    return std::visit([](const auto* port) { return port->channel->discarding; }, task.waitingAt);
}

}  // namespace

std::string waitText(const Task& task) {
    if (task.state == TaskState::waitingForElements) {
        const PipePort& port = *std::get<PipePort*>(task.waitingAt);
        return "waits for " + counted(port.wanted, "sample") + " of `" + port.channel->name + "`, " +
               thereAre(port.available());
    }
    const std::string& name =
        std::visit([](const auto* port) -> const std::string& { return port->channel->name; }, task.waitingAt);
    if (task.state == TaskState::waitingForEvent) return "waits for an event of `" + name + "`";
    return "waits for room in `" + name + "`";
}

namespace {

// "a, b and c", of many the first and how many others.
std::string listed(std::vector<std::string> items) {
    constexpr std::size_t most = 4;
    if (items.size() <= most) return joined(items, " and ");
    const std::size_t others = items.size() - most + 1;
    items.resize(most - 1);
    return joined(items, ", ") + " and " + std::to_string(others) + " others";
}

// A task that waits is worth a word when it leaves something unread or unsent.
bool worthANote(const Task& task) {
    switch (task.state) {
        case TaskState::waitingForElements:
        case TaskState::waitingForEvent:
            return leavesSomething(task);
        case TaskState::waitingForRoom:
            return !waitsWhereNobodyReads(task);
        default:
            return false;
    }
}

// The notes on one run, in the order of the tasks and channels.
struct Notes {
    const Engine& e;
    std::vector<std::string>& lines;
    TaskSet onInput = tasksOnInputs(e);

    bool wentOn(const Task& task) const { return e.outcome.end == RunEnd::selfSustaining && sustainsItself(e, task); }

    void addTask(const Task& task) {
        if (task.state == TaskState::ended) return;
        if (wentOn(task))
            lines.push_back(task.label() + " was still running by itself when " +
                            (e.graph.hasInputs() ? "the inputs had ended" : "nothing more could come of it"));
        else if (worthANote(task))
            lines.push_back(task.label() + " " + waitText(task));
        if (ranOut()) addLeft(task);
    }

    // The run ended for want of anything to do, so what is left stays so.
    bool ranOut() const { return e.outcome.end == RunEnd::quiescent || e.outcome.end == RunEnd::selfSustaining; }

    // What comes from an input and is left, where the note on the task's wait does not tell it.
    void addLeft(const Task& task) {
        std::vector<const void*> told;
        if (task.state == TaskState::waitingForElements) told.push_back(std::get<PipePort*>(task.waitingAt)->channel);
        forEachPort(task, [&](const auto& port) {
            const auto& channel = *port.channel;
            if (port.mode != PortMode::reading || port.available() == 0 || !comesFromInput(channel)) return;
            if (std::find(told.begin(), told.end(), &channel) != told.end()) return;
            told.push_back(&channel);
            lines.push_back(task.label() + " left " + counted(port.available(), unitOf(channel)) + " of `" +
                            channel.name + "` unread");
        });
    }

    template <class ChannelType>
    bool comesFromInput(const ChannelType& channel) const {
        if (channel.writer == nullptr) return channel.inputWrites;
        const Task& task = *channel.writer->task;
        return onInput[task.number - 1] && !wentOn(task);
    }

    void addHeldUpInputs() {
        for (const PipeInput& input : e.graph.pipeInputs)
            if (!input.ended && !input.pipe->discarding)
                addHeldUp(*input.pipe, input.delivered, input.length.value_or(0), "sample");
        for (const TriggerInput& input : e.graph.triggerInputs)
            if (!input.ended()) addHeldUp(*input.trigger, input.next, input.rows.size(), "row");
    }

    template <class ChannelType>
    void addHeldUp(const ChannelType& channel, std::uint64_t given, std::uint64_t length, const std::string& unit) {
        const std::string all = " of its " + std::to_string(length) + " " + unit + "s";
        lines.push_back("the input of `" + channel.name + "` was held up after " +
                        (length == 0 ? counted(given, unit) : std::to_string(given) + all));
    }

    // Judged by what tasks opened, so it is known once all have run. A second output of a command can be left unread with
    // good reason; a stream from an input or a generator is hardly meant to be.
    template <class Channels>
    void addUnread(const Channels& channels) {
        for (const auto& channel : channels) {
            if (!channel.discarding || channel.hasOutput) continue;
            if (channel.hadReader)
                lines.push_back("nobody reads `" + channel.name + "` any more");
            else if (comesFromSource(channel))
                lines.push_back("nobody reads `" + channel.name + "`");
        }
    }

    template <class ChannelType>
    static bool comesFromSource(const ChannelType& channel) {
        if (channel.writer == nullptr) return channel.inputWrites;
        const Task& task = *channel.writer->task;
        return task.readingPorts == 0 && task.state != TaskState::ended;
    }

    template <class Output>
    void addShortOutput(const Output& output) {
        if (output.limit && !output.complete())
            lines.push_back("the output of `" + channelName(output) + "` has " + counted(output.count, unitOf(output)) +
                            " of the " + std::to_string(*output.limit) + " asked for");
    }

    // What some pipes of an output have that others lack.
    void addLeftOver(const FrameOutput& output) {
        if (output.complete()) return;
        std::vector<std::string> behind, left;
        for (const FrameOutput::Member& member : output.members) {
            const Pipe& pipe = *member.port.channel;
            const std::uint64_t there = member.port.available();
            if (there < member.channels) behind.push_back("`" + pipe.name + "`");
            if (there > 0) left.push_back(counted(there, "sample") + " of `" + pipe.name + "`");
        }
        if (left.empty() || behind.empty()) return;
        lines.push_back("`" + output.name + "` has " + counted(output.count, unitOf(output)) + ", all that " +
                        listed(behind) + (behind.size() == 1 ? " has" : " have") + "; not written: " + listed(left));
    }

    void addIncompleteFrames() {
        for (const PipeOutput& output : e.graph.pipeOutputs) {
            if (output.sink == nullptr) continue;
            const auto channels = static_cast<std::uint64_t>(output.sink->channels());
            if (output.count % channels != 0)
                lines.push_back("`" + output.port.channel->name + "` ends with " +
                                counted(output.count % channels, "sample") + " of an incomplete frame of " +
                                std::to_string(channels) + ", not written");
        }
    }
};

// The pipes of tasks that have ended: one that ended before it opened its output is what its reader lacks.
std::set<const Pipe*> pipesOfEnded(const Engine& e) {
    std::set<const Pipe*> pipes;
    for (const Task& task : e.graph.tasks)
        if (task.state == TaskState::ended)
            for (const PipePort& port : task.pipePorts) pipes.insert(port.channel);
    return pipes;
}

void addUnwritten(const Engine& e, Report& report) {
    const std::set<const Pipe*> ended = pipesOfEnded(e);
    for (const Pipe& pipe : e.graph.pipes) {
        if (pipe.readers.empty() || pipe.writer != nullptr || pipe.inputWrites || pipe.hasInitialElements) continue;
        if (ended.contains(&pipe)) continue;
        report.unwritten.push_back(pipe.name);
        report.notes.push_back("nobody writes `" + pipe.name + "`");
    }
}

// What files lacked, and what their rates are. Several pipes can read one file.
void addFileNotes(const Engine& e, Report& report) {
    std::set<std::string> known;
    for (const PipeInput& input : e.graph.pipeInputs)
        if (input.source != nullptr)
            for (std::string& note : input.source->notes())
                if (known.insert(note).second) report.notes.push_back(std::move(note));
    addRateNotes(e, report);
}

}  // namespace

void addNotes(const Engine& e, Report& report) {
    report.notes = e.outcome.notes;
    report.warned = e.outcome.warned;
    if (e.outcome.end != RunEnd::refused) addFileNotes(e, report);
    const bool setUpFailed = e.outcome.end == RunEnd::refused && e.outcome.reason.empty();
    if (e.setUpDone && !setUpFailed) addUnwritten(e, report);
    if (e.outcome.end == RunEnd::refused || e.outcome.end == RunEnd::checkedOnly) return;
    Notes found{e, report.notes};
    if (e.outcome.end == RunEnd::stopped)
        report.notes.push_back(e.script == nullptr
                                   ? "the run was stopped on request"
                                   : "the replay stopped at the end of round " + std::to_string(e.scheduler.round));
    // Where every output has its count, what still waits or is left is not missed.
    if (e.outcome.end != RunEnd::complete)
        for (const Task& task : e.graph.tasks) found.addTask(task);
    if (found.ranOut()) found.addHeldUpInputs();
    found.addUnread(e.graph.pipes);
    found.addUnread(e.graph.triggers);
    e.graph.forEachOutput([&](const auto& output) { found.addShortOutput(output); });
    found.addIncompleteFrames();
    for (const FrameOutput& output : e.graph.frameOutputs) found.addLeftOver(output);
}

}  // namespace libzepl
