// What a run came to, in words: who waits for what, what went on by itself, what was left.

#include <algorithm>
#include <set>

#include "runtime/engine/going_on.h"

namespace libzepl {

namespace {

std::string counted(std::uint64_t n, const std::string& thing) {
    return std::to_string(n) + " " + thing + (n == 1 ? "" : "s");
}

std::string thereAre(std::uint64_t n) { return std::to_string(n) + (n == 1 ? " is there" : " are there"); }

const char* unitOf(const Pipe&) { return "sample"; }
const char* unitOf(const Trigger&) { return "event"; }

bool leavesSomething(const Task& task) {
    bool leaves = false;
    forEachEnd(task, [&](const auto& end) { leaves |= end.mode == EndMode::reading && end.available() > 0; });
    return leaves;
}

bool waitsWhereNobodyReads(const Task& task) {
    return task.waitingPipe != nullptr ? task.waitingPipe->channel->dropping : task.waitingTrigger->channel->dropping;
}

std::string waitText(const Task& task) {
    if (task.state == TaskState::waitingForElements) {
        const PipeEnd& end = *task.waitingPipe;
        return "waits for " + counted(end.wanted, "sample") + " of `" + end.channel->name + "`, " +
               thereAre(end.available());
    }
    if (task.state == TaskState::waitingForEvent)
        return "waits for an event of `" + task.waitingTrigger->channel->name + "`";
    const std::string& name =
        task.waitingPipe != nullptr ? task.waitingPipe->channel->name : task.waitingTrigger->channel->name;
    return "waits for room in `" + name + "`";
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

    bool wentOn(const Task& task) const { return e.end == RunEnd::endless && goesOnByItself(e, task); }

    void addTask(const Task& task) {
        if (task.state == TaskState::ended) return;
        if (wentOn(task))
            lines.push_back(task.label() + " went on by itself when " +
                            (e.hasInputs() ? "the inputs had ended" : "nothing more could come of it"));
        else if (worthANote(task))
            lines.push_back(task.label() + " " + waitText(task));
        if (ranOut()) addLeft(task);
    }

    // The run ended for want of anything to do, so what is left stays so.
    bool ranOut() const { return e.end == RunEnd::quiet || e.end == RunEnd::endless; }

    // What comes from an input and is left, where the note on the task's wait does not tell it.
    void addLeft(const Task& task) {
        std::vector<const void*> told;
        if (task.state == TaskState::waitingForElements) told.push_back(task.waitingPipe->channel);
        forEachEnd(task, [&](const auto& end) {
            const auto& channel = *end.channel;
            if (end.mode != EndMode::reading || end.available() == 0 || !comesFromInput(channel)) return;
            if (std::find(told.begin(), told.end(), &channel) != told.end()) return;
            told.push_back(&channel);
            lines.push_back(task.label() + " left " + counted(end.available(), unitOf(channel)) + " of `" +
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
        for (const PipeInput& input : e.pipeInputs)
            if (!input.ended && !input.pipe->dropping)
                addHeldUp(*input.pipe, input.delivered, input.length.value_or(0), "sample");
        for (const TriggerInput& input : e.triggerInputs)
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
            if (!channel.dropping || channel.hasOutput) continue;
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
        return task.readingEnds == 0 && task.state != TaskState::ended;
    }

    template <class Outputs>
    void addShortOutputs(const Outputs& outputs, const std::string& unit) {
        for (const auto& output : outputs)
            if (output.limit && !output.complete())
                lines.push_back("the output of `" + output.end.channel->name + "` has " + counted(output.count, unit) +
                                " of the " + std::to_string(*output.limit) + " asked for");
    }

    void addIncompleteFrames() {
        for (const PipeOutput& output : e.pipeOutputs) {
            if (output.sink == nullptr) continue;
            const auto channels = static_cast<std::uint64_t>(output.sink->channels());
            if (output.count % channels != 0)
                lines.push_back("`" + output.end.channel->name + "` ends with " +
                                counted(output.count % channels, "sample") + " of an incomplete frame of " +
                                std::to_string(channels) + ", not written");
        }
    }
};

// The pipes of tasks that have ended: one that ended before it opened its output is what its reader lacks.
std::set<const Pipe*> pipesOfEnded(const Engine& e) {
    std::set<const Pipe*> pipes;
    for (const Task& task : e.tasks)
        if (task.state == TaskState::ended)
            for (const PipeEnd& end : task.pipeEnds) pipes.insert(end.channel);
    return pipes;
}

void addUnwritten(const Engine& e, Report& report) {
    const std::set<const Pipe*> ended = pipesOfEnded(e);
    for (const Pipe& pipe : e.pipes) {
        if (pipe.readers.empty() || pipe.writer != nullptr || pipe.inputWrites || pipe.hasStarts) continue;
        if (ended.contains(&pipe)) continue;
        report.unwritten.push_back(pipe.name);
        report.notes.push_back("nobody writes `" + pipe.name + "`");
    }
}

}  // namespace

// What files lacked, and what their rates are.
void Engine::addFileNotes(Report& report) const {
    for (const PipeInput& input : pipeInputs)
        if (input.source != nullptr)
            for (std::string& note : input.source->notes()) report.notes.push_back(std::move(note));
    addRateNotes(report);
}

void Engine::addNotes(Report& report) const {
    report.notes = notes;
    report.warned = warned;
    if (end != RunEnd::refused) addFileNotes(report);
    const bool setUpFailed = end == RunEnd::refused && reason.empty();
    if (settled && !setUpFailed) addUnwritten(*this, report);
    if (end == RunEnd::refused || end == RunEnd::setUpsRan) return;
    Notes found{*this, report.notes};
    if (end == RunEnd::stopped) report.notes.push_back("the run was stopped on request");
    // Where every output has its count, what still waits or is left is not missed.
    if (end != RunEnd::complete)
        for (const Task& task : tasks) found.addTask(task);
    if (found.ranOut()) found.addHeldUpInputs();
    found.addUnread(pipes);
    found.addUnread(triggers);
    found.addShortOutputs(pipeOutputs, "sample");
    found.addShortOutputs(triggerOutputs, "event");
    found.addIncompleteFrames();
}

}  // namespace libzepl
