// What a session consists of: channels, values, tasks, inputs and outputs, and the handles by which tasks name them.
#pragma once

#include <deque>
#include <vector>

#include "runtime/engine/handle_table.h"
#include "runtime/engine/io_ports.h"
#include "runtime/engine/task.h"

namespace libzepl {

// Objects stay where they are from when they are added; pointers to them are good as long as the session lasts.
struct Graph {
    explicit Graph(std::uint64_t memoryLimit) : memory(memoryLimit) {}

    bool hasInputs() const { return !pipeInputs.empty() || !triggerInputs.empty(); }
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

    MemoryBudget memory;
    std::deque<Pipe> pipes;
    std::deque<Trigger> triggers;
    std::deque<Variable> variables;
    std::deque<Vector> vectors;
    std::deque<Task> tasks;
    std::vector<PipeInput> pipeInputs;
    std::vector<TriggerInput> triggerInputs;
    std::deque<PipeOutput> pipeOutputs;
    std::deque<FrameOutput> frameOutputs;
    std::deque<TriggerOutput> triggerOutputs;
    HandleTable<PipePort> pipeHandles;
    HandleTable<TriggerPort> triggerHandles;
    HandleTable<Pbuf> pbufHandles;
    std::deque<Pbuf> pbufs;
};

}  // namespace libzepl
