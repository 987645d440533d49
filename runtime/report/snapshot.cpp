#include "runtime/report/snapshot.h"

#include "runtime/report/figures.h"
#include "runtime/report/run_notes.h"

namespace libzepl {

namespace {

using TaskSnapshot = Snapshot::Task;

TaskSnapshot::State stateOf(const Task& task) {
    switch (task.state) {
        case TaskState::ready:
            return TaskSnapshot::State::ready;
        case TaskState::waitingForElements:
            return TaskSnapshot::State::waitingForElements;
        case TaskState::waitingForEvent:
            return TaskSnapshot::State::waitingForEvent;
        case TaskState::waitingForRoom:
            return TaskSnapshot::State::waitingForRoom;
        case TaskState::pausing:
            return TaskSnapshot::State::pausing;
        default:
            return TaskSnapshot::State::ended;
    }
}

bool waits(const Task& task) {
    return task.state == TaskState::waitingForElements || task.state == TaskState::waitingForEvent ||
           task.state == TaskState::waitingForRoom;
}

TaskSnapshot snapshotOf(const Task& task) {
    TaskSnapshot each;
    each.command = task.command->name;
    each.line = task.line;
    each.element = task.element;
    each.state = stateOf(task);
    if (waits(task)) each.text = waitText(task);
    if (task.state == TaskState::ended) each.text = task.outcome.text;
    forEachPort(task, [&](const auto& port) {
        if (port.channel->writer == &port)
            each.written += port.channel->writePosition;
        else
            each.read += port.readPosition - port.openPosition;
    });
    return each;
}

}  // namespace

Snapshot makeSnapshot(const Engine& e) {
    Snapshot snapshot;
    snapshot.round = e.scheduler.round;
    snapshot.clock = e.timing.clock.now();
    snapshot.frames = e.timing.clock.frame();
    snapshot.rate = e.timing.clock.rate();
    if (e.outcome.began.time_since_epoch().count() != 0)
        snapshot.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - e.outcome.began).count();
    snapshot.consoleBytes = e.outcome.console.size();
    for (const Task& task : e.graph.tasks) snapshot.tasks.push_back(snapshotOf(task));
    for (const Pipe& pipe : e.graph.pipes)
        snapshot.pipes.push_back({pipe.name, pipe.type, pipe.writePosition, unreadOf(pipe), pipe.capacity});
    for (const Trigger& trigger : e.graph.triggers)
        snapshot.triggers.push_back({trigger.name, trigger.writePosition, trigger.status});
    for (const Variable& variable : e.graph.variables)
        snapshot.variables.push_back({variable.name, variable.type, valueOf(variable)});
    return snapshot;
}

}  // namespace libzepl
