#include "runtime/engine/self_sustaining.h"

#include <algorithm>

#include "runtime/engine/flow.h"
#include "runtime/engine/inputs.h"
#include "runtime/engine/outputs.h"
#include "runtime/engine/task_graph.h"

namespace libzepl {

namespace {

std::uint64_t writesOf(const Pipe& pipe) { return pipe.writePosition; }
std::uint64_t writesOf(const Trigger& trigger) { return trigger.writePosition + trigger.statusMoves; }

// What the task has written in all where somebody reads it.
std::uint64_t writesOf(const Task& task) {
    std::uint64_t writes = 0;
    forEachPort(task, [&](const auto& port) {
        if (port.mode == PortMode::writing && !port.channel->discarding) writes += writesOf(*port.channel);
    });
    return writes;
}

// Finds out whether the task has written more than the session's patience since it last read anything. Never too soon: what it
// wrote before the first check after a read is not counted. True when it continues with what it read of the inputs.
bool noteWrites(Task& task, std::uint64_t patience) {
    const std::uint64_t writes = writesOf(task);
    const bool hasWritten = writes != task.writesAtCheck;
    task.writesAtCheck = writes;
    if (task.readTurn != task.seenReadTurn || writes < task.writesAtRead) {
        task.seenReadTurn = task.readTurn;
        task.writesAtRead = writes;
    } else if (isInputDriven(task) && writes - task.writesAtRead >= patience) {
        task.outOfPatience = true;
    }
    return hasWritten && isInputDriven(task);
}

std::string counted(const Pipe& pipe) {
    return std::to_string(pipe.writePosition) + (pipe.writePosition == 1 ? " sample of `" : " samples of `") +
           pipe.name + "`";
}
std::string counted(const Trigger& trigger) {
    return std::to_string(trigger.writePosition) + (trigger.writePosition == 1 ? " event of `" : " events of `") +
           trigger.name + "`";
}

// "wrote 70000 samples of `noise`": where the task wrote most.
std::string whatItWrote(const Task& task) {
    std::uint64_t most = 0;
    std::string text;
    forEachPort(task, [&](const auto& port) {
        if (port.mode != PortMode::writing || (!text.empty() && writesOf(*port.channel) <= most)) return;
        most = writesOf(*port.channel);
        text = counted(*port.channel);
    });
    return text;
}

// An output without a limit, which only the end of the run ends.
struct CutOutput {
    std::string name;
    const Task* writer;
    std::string remedy;
};

// Several pipes that go to one output end with the shortest of them, so all must continue for it.
template <class Output>
void addCut(const Output& output, const TaskSet& sustaining, std::vector<CutOutput>& cut) {
    const Task* writer = nullptr;
    bool continues = !output.limit;
    forEachOutputPort(output, [&](const auto& port) {
        const auto* writing = port.channel->writer;
        continues = continues && writing != nullptr && sustaining[writing->task->number - 1];
        if (continues && writer == nullptr) writer = writing->task;
    });
    if (continues) cut.push_back({channelName(output), writer, limitRemedy(output)});
}

// Which of the tasks that continue is the likeliest to be the reason that others do.
int rankOf(const Task& task) {
    if (task.outOfPatience) return 3;
    if (task.readingPorts == 0) return 2;
    return task.drive->window != Drive().window ? 1 : 0;
}

const Task& reasonFor(const Engine& e, const TaskSet& sustaining, const Task& writer) {
    TaskSet last(e.graph.lastTaskNumber(), false);
    last[writer.number - 1] = true;
    const TaskSet before = withAllBefore(e, std::move(last));
    const Task* found = nullptr;
    for (const Task& task : e.graph.tasks) {
        if (!sustaining[task.number - 1] || !before[task.number - 1]) continue;
        if (found == nullptr || rankOf(task) > rankOf(*found)) found = &task;
    }
    return *found;
}

TaskSet sustainingTasks(const Engine& e) {
    TaskSet tasks(e.graph.lastTaskNumber(), false);
    for (const Task& task : e.graph.tasks) tasks[task.number - 1] = sustainsItself(e, task);
    return tasks;
}

std::string namesOf(const std::vector<CutOutput>& cut) {
    std::string names = cut.size() == 1 ? "the output of " : "the outputs of ";
    for (std::size_t i = 0; i < cut.size(); ++i)
        names += (i == 0 ? "`" : i + 1 == cut.size() ? " and `" : ", `") + cut[i].name + "`";
    return names + (cut.size() == 1 ? " has no limit" : " have no limit");
}

}  // namespace

bool movedSince(const Task& task, std::uint64_t turn) {
    if (task.state == TaskState::ended) return false;
    bool moved = task.state == TaskState::pausing || task.signalTurn > turn;
    forEachPort(task, [&](const auto& port) {
        const bool counts = port.mode == PortMode::reading || !port.channel->discarding;
        moved |= counts && port.turn > turn;
    });
    return moved;
}

bool sustainsItself(const Engine& e, const Task& task) {
    const std::uint64_t recentTurns = quietRounds * e.graph.tasks.size();
    return movedSince(task, e.scheduler.turn > recentTurns ? e.scheduler.turn - recentTurns : 0);
}

std::uint64_t patienceRounds(const SessionOptions& options) {
    return std::clamp<std::uint64_t>(options.patience / 4096, 16, 4096);
}

void checkPatience(Engine& e) {
    const std::uint64_t sinceRound = e.activity.lastPatienceCheck(), sinceTurn = e.activity.lastPatienceTurn();
    // The rounds of a lane can pass in one step, and the next check is due as it would be otherwise.
    const std::uint64_t late = e.lane == nullptr ? 0 : (e.scheduler.round - sinceRound) % patienceRounds(e.options);
    e.activity.notePatienceCheck(e.scheduler.round - late, e.scheduler.turn);
    TaskSet overdue(e.graph.lastTaskNumber(), false), moved(overdue);
    for (Task& task : e.graph.tasks) {
        if (noteWrites(task, e.options.patience)) e.activity.noteDrivenWrite(e.scheduler.round);
        if (task.outOfPatience && e.lane != nullptr) return e.outcome.finish(RunEnd::selfSustaining);  // for the whole
        overdue[task.number - 1] = task.outOfPatience;
        moved[task.number - 1] = movedSince(task, sinceTurn);
    }
    if (!e.activity.isUselessSince(sinceRound) || !e.timing.pausing.empty()) return;
    const TaskSet after = withAllAfter(e, std::move(overdue));
    bool onlyThose = false;
    for (std::size_t i = 0; i < moved.size(); ++i) {
        if (moved[i] && !after[i]) return;
        onlyThose |= moved[i];
    }
    if (!onlyThose) return;
    updateInputLimits(e);
    if (inputsEndedOrHeld(e) && !closeShortOutputs(e)) finishSelfSustaining(e);
}

void finishSelfSustaining(Engine& e) {
    const TaskSet sustaining = sustainingTasks(e), after = withAllAfter(e, sustaining);
    std::vector<CutOutput> cut;
    e.graph.forEachOutput([&](const auto& output) { addCut(output, after, cut); });
    if (cut.empty()) return e.outcome.finish(RunEnd::selfSustaining);
    const Task& task = reasonFor(e, sustaining, *cut.front().writer);
    e.outcome.reasonChannel = cut.front().name;
    const std::string& limit = cut.front().remedy;
    if (task.outOfPatience)
        return e.outcome.finish(RunEnd::selfSustaining,
                                namesOf(cut) + ", and " + task.label() + " wrote " + whatItWrote(task) +
                                    " without taking anything, more than --patience allows",
                                limit + "; or, if the task comes to an end, raise --patience");
    const std::string wrote = whatItWrote(task);
    e.outcome.finish(RunEnd::selfSustaining,
                     namesOf(cut) + ", and " + task.label() + " continues by itself after the inputs have ended" +
                         (wrote.empty() ? "" : ": it wrote " + wrote),
                     limit);
}

}  // namespace libzepl
