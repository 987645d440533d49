#include "runtime/engine/set_up.h"

#include <algorithm>

#include "runtime/engine/flow.h"
#include "runtime/engine/task_graph.h"

namespace libzepl {

namespace {

// Marks an output that depends on no input. False when it has no limit, so that nothing would end it.
template <class Output>
bool markIndependent(Output& output, const TaskSet& onInput) {
    output.independent = true;
    forEachOutputPort(output, [&](const auto& port) {
        const auto& channel = *port.channel;
        if (channel.inputWrites || channel.writer == nullptr || onInput[channel.writer->task->number - 1])
            output.independent = false;
    });
    return !output.independent || output.limit.has_value();
}

// Expressions read memory as one loop, which the machine sees coming.
void choosePrefetches(Graph& graph) {
    for (PipeInput& input : graph.pipeInputs) {
        const auto& readers = input.pipe->readers;
        input.prefetches = input.zeroCopy && std::any_of(readers.begin(), readers.end(), [](const PipePort* port) {
                               return port->task == nullptr || port->task->routine == nullptr;
                           });
    }
}

}  // namespace

// Every task has run once: who reads and who writes is known.
void finishSetUp(Engine& e) {
    e.setUpDone = true;
    for (Pipe& pipe : e.graph.pipes) notifyWriter(e, pipe);
    for (Trigger& trigger : e.graph.triggers) notifyWriter(e, trigger);
    const bool setUpFailed = std::any_of(e.graph.tasks.begin(), e.graph.tasks.end(), [](const Task& task) {
        return task.outcome.state == TaskReport::State::error || task.outcome.state == TaskReport::State::refused;
    });
    if (setUpFailed) return e.outcome.finish(RunEnd::refused);
    joinCycles(e);
    const TaskSet onInput = tasksOnInputs(e);
    e.graph.forEachOutput([&](auto& output) {
        if (markIndependent(output, onInput) || !e.outcome.isRunning()) return;
        e.outcome.reasonChannel = channelName(output);
        e.outcome.finish(RunEnd::refused,
                         "the output of `" + channelName(output) + "` depends on no input, so nothing would end it",
                         limitRemedy(output));
    });
    if (!e.outcome.isRunning()) return;
    findGeneratorReaders(e);
    choosePrefetches(e.graph);
    if (e.options.setUpOnly) e.outcome.finish(RunEnd::checkedOnly);
}

}  // namespace libzepl
