#include "runtime/engine/going_on.h"

#include <algorithm>

namespace libzepl {

namespace {

std::uint64_t putsOf(const Pipe& pipe) { return pipe.written; }
std::uint64_t putsOf(const Trigger& trigger) { return trigger.written + trigger.statusMoves; }

// What the task has put in all where somebody reads it.
std::uint64_t putsOf(const Task& task) {
    std::uint64_t puts = 0;
    forEachEnd(task, [&](const auto& end) {
        if (end.mode == EndMode::writing && !end.channel->dropping) puts += putsOf(*end.channel);
    });
    return puts;
}

// Finds out whether the task has put more than the session's patience since it last took anything. Never too soon: what it
// put before the first look after a take is not counted. True when it goes on with what it took of the inputs.
bool lookAtPuts(Task& task, std::uint64_t patience) {
    const std::uint64_t puts = putsOf(task);
    const bool hasPut = puts != task.putsAtLook;
    task.putsAtLook = puts;
    if (task.takeTurn != task.seenTakeTurn || puts < task.putsAtTake) {
        task.seenTakeTurn = task.takeTurn;
        task.putsAtTake = puts;
    } else if (isDriven(task) && puts - task.putsAtTake >= patience) {
        task.outOfPatience = true;
    }
    return hasPut && isDriven(task);
}

std::string counted(const Pipe& pipe) {
    return std::to_string(pipe.written) + (pipe.written == 1 ? " sample of `" : " samples of `") + pipe.name + "`";
}
std::string counted(const Trigger& trigger) {
    return std::to_string(trigger.written) + (trigger.written == 1 ? " event of `" : " events of `") + trigger.name +
           "`";
}

// "wrote 70000 samples of `noise`": where the task wrote most.
std::string whatItWrote(const Task& task) {
    std::uint64_t most = 0;
    std::string text;
    forEachEnd(task, [&](const auto& end) {
        if (end.mode != EndMode::writing || (!text.empty() && putsOf(*end.channel) <= most)) return;
        most = putsOf(*end.channel);
        text = counted(*end.channel);
    });
    return text;
}

// An output without a limit, which only the end of the run ends.
struct CutOutput {
    std::string name;
    const Task* writer;
};

template <class Outputs>
void addCut(const Outputs& outputs, const TaskSet& goingOn, std::vector<CutOutput>& cut) {
    for (const auto& output : outputs) {
        const auto& channel = *output.end.channel;
        if (output.limit || channel.writer == nullptr || !goingOn[channel.writer->task->number - 1]) continue;
        cut.push_back({channel.name, channel.writer->task});
    }
}

// Which of the tasks that go on is the likeliest to be the reason that others do.
int rankOf(const Task& task) {
    if (task.outOfPatience) return 3;
    if (task.readingEnds == 0) return 2;
    return task.drive->window != Drive().window ? 1 : 0;
}

const Task& reasonFor(const Engine& e, const TaskSet& goingOn, const Task& writer) {
    TaskSet last(e.tasks.size(), false);
    last[writer.number - 1] = true;
    const TaskSet before = withAllBefore(e, std::move(last));
    const Task* found = nullptr;
    for (const Task& task : e.tasks) {
        if (!goingOn[task.number - 1] || !before[task.number - 1]) continue;
        if (found == nullptr || rankOf(task) > rankOf(*found)) found = &task;
    }
    return *found;
}

TaskSet tasksGoingOn(const Engine& e) {
    TaskSet tasks(e.tasks.size(), false);
    for (const Task& task : e.tasks) tasks[task.number - 1] = goesOnByItself(e, task);
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
    forEachEnd(task, [&](const auto& end) {
        const bool counts = end.mode == EndMode::reading || !end.channel->dropping;
        moved |= counts && end.turn > turn;
    });
    return moved;
}

bool goesOnByItself(const Engine& e, const Task& task) {
    const std::uint64_t recentTurns = quietRounds * e.tasks.size();
    return movedSince(task, e.turn > recentTurns ? e.turn - recentTurns : 0);
}

// Often enough that a task puts little more than it may before it is found out.
std::uint64_t Engine::patienceRounds() const { return std::clamp<std::uint64_t>(options.patience / 4096, 16, 4096); }

// Looks who has put more than the patience since it last took anything; what such a task writes is input-driven no more. The
// run ends where, since the last look, only such tasks and what depends on them have moved.
void Engine::lookAtPatience() {
    const std::uint64_t sinceRound = lastPatienceLook, sinceTurn = patienceTurn;
    lastPatienceLook = round;
    patienceTurn = turn;
    TaskSet overdue(tasks.size(), false), moved(overdue);
    for (Task& task : tasks) {
        if (lookAtPuts(task, options.patience)) lastDrivenPut = round;
        overdue[task.number - 1] = task.outOfPatience;
        moved[task.number - 1] = movedSince(task, sinceTurn);
    }
    if (std::max({lastUseful(), lastGrown, lastJump}) > sinceRound || !pausing.empty()) return;
    const TaskSet after = withAllAfter(*this, std::move(overdue));
    bool onlyThose = false;
    for (std::size_t i = 0; i < tasks.size(); ++i) {
        if (moved[i] && !after[i]) return;
        onlyThose |= moved[i];
    }
    if (onlyThose && inputsEndedOrHeld()) finishEndless();
}

// Ends a run in which only what goes on by itself still moves. An output without a limit that this leads to has a length that
// nobody asked for, so the run has failed.
void Engine::finishEndless() {
    const TaskSet goingOn = tasksGoingOn(*this), after = withAllAfter(*this, goingOn);
    std::vector<CutOutput> cut;
    addCut(pipeOutputs, after, cut);
    addCut(triggerOutputs, after, cut);
    if (cut.empty()) return finish(RunEnd::endless);
    const Task& task = reasonFor(*this, goingOn, *cut.front().writer);
    reasonChannel = cut.front().name;
    const std::string limit = "give it a limit: to FILE limit N";
    if (task.outOfPatience)
        return finish(RunEnd::endless,
                      namesOf(cut) + ", and " + task.label() + " wrote " + whatItWrote(task) +
                          ", more than the patience allows without taking anything",
                      limit + "; or, if the task comes to an end, raise --patience");
    const std::string wrote = whatItWrote(task);
    finish(RunEnd::endless,
           namesOf(cut) + ", and " + task.label() + " goes on by itself when the inputs have ended" +
               (wrote.empty() ? "" : ": it wrote " + wrote),
           limit);
}

}  // namespace libzepl
