#include "runtime/engine/set_up.h"

#include <algorithm>

#include "runtime/engine/flow.h"
#include "runtime/engine/task_graph.h"

namespace libzepl {

namespace {

// Marks an output that depends on no input. False when it has no limit, so that nothing would end it.
template <class Output>
bool markIndependent(Output& output, const TaskSet& onInput) {
    const auto& channel = *output.port.channel;
    if (channel.inputWrites || channel.writer == nullptr) return true;
    output.independent = !onInput[channel.writer->task->number - 1];
    return !output.independent || output.limit.has_value();
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
    const auto refuse = [&](const std::string& name) {
        e.outcome.reasonChannel = name;
        e.outcome.finish(RunEnd::refused, "the output of `" + name + "` depends on no input, so nothing would end it",
                         "give it a limit: to FILE limit N");
    };
    for (PipeOutput& output : e.graph.pipeOutputs)
        if (!markIndependent(output, onInput)) return refuse(output.port.channel->name);
    for (TriggerOutput& output : e.graph.triggerOutputs)
        if (!markIndependent(output, onInput)) return refuse(output.port.channel->name);
    findGeneratorReaders(e);
    if (e.options.setUpOnly) e.outcome.finish(RunEnd::checkedOnly);
}

}  // namespace libzepl
