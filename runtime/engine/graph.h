// What a session consists of: channels, values, tasks, inputs and outputs, and the handles by which tasks name them.
#pragma once

#include <deque>
#include <optional>

#include "runtime/engine/handle_table.h"
#include "runtime/engine/io_ports.h"
#include "runtime/engine/object_list.h"
#include "runtime/engine/task.h"

namespace libzepl {

// Pointers to objects are good as long as the session lasts.
struct Graph {
    explicit Graph(std::uint64_t memoryLimit) : ownMemory(memoryLimit), memory(ownMemory) {}
    // A part of another one. Handles are those of the whole, and so are vectors, which nobody changes.
    explicit Graph(Graph& whole);
    Graph(const Graph&) = delete;
    Graph& operator=(const Graph&) = delete;

    bool hasInputs() const { return othersHaveInputs || !pipeInputs.empty() || !triggerInputs.empty(); }
    std::optional<std::uint64_t> expectedElements() const;  // of the inputs of pipes; nothing where one does not say
    bool pipeInputsEnded() const;
    bool inputsEnded() const;

    // Calls `f` with each output, whatever it reads.
    template <class F>
    void forEachOutput(F f) {
        for (PipeOutput& output : pipeOutputs) f(output);
        for (FrameOutput& output : frameOutputs) f(output);
        for (TriggerOutput& output : triggerOutputs) f(output);
    }
    template <class F>
    void forEachOutput(F f) const {
        for (const PipeOutput& output : pipeOutputs) f(output);
        for (const FrameOutput& output : frameOutputs) f(output);
        for (const TriggerOutput& output : triggerOutputs) f(output);
    }

    // Tasks are in the order of their numbers, which need not follow each other in a part of a session.
    std::size_t lastTaskNumber() const { return tasks.empty() ? 0 : tasks.back().number; }
    Task* findTask(std::uint32_t number);  // null where there is none

    MemoryBudget ownMemory;
    MemoryBudget& memory;  // of the whole session
    ObjectList<Pipe> pipes;
    ObjectList<Trigger> triggers;
    ObjectList<Variable> variables;
    ObjectList<Vector> vectors;
    ObjectList<Task> tasks;
    ObjectList<PipeInput> pipeInputs;
    ObjectList<TriggerInput> triggerInputs;
    ObjectList<PipeOutput> pipeOutputs;
    ObjectList<FrameOutput> frameOutputs;
    ObjectList<TriggerOutput> triggerOutputs;
    bool othersHaveInputs = false;  // in the other parts of the session
    bool sharesSources = false;     // several inputs take of one source
    HandleTable<PipePort> pipeHandles;
    HandleTable<TriggerPort> triggerHandles;
    HandleTable<Pbuf> pbufHandles;
    std::deque<Pbuf> pbufs;
};

}  // namespace libzepl
