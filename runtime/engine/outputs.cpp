#include "runtime/engine/outputs.h"

#include <algorithm>

#include "runtime/engine/flow.h"
#include "runtime/engine/task_graph.h"

namespace libzepl {

namespace {

// How much the output may still take of what is there.
template <class Output>
std::uint64_t takeable(const Output& output) {
    if (output.port.mode != PortMode::reading) return 0;
    const std::uint64_t there = output.port.available();
    return output.limit ? std::min(there, *output.limit - output.count) : there;
}

template <class Output>
void commitDrain(Engine& e, Output& output, std::uint64_t n) {
    output.count += n;
    if (output.limit) e.activity.noteLimitedDrain(e.scheduler.round);
    if (isInputDriven(*output.port.channel, nullptr)) e.activity.noteDrivenRead(e.scheduler.round);
    commitRead(e, output.port, n);
    if (!output.complete()) return;
    closePort(e, output.port);
    findGeneratorReaders(e);
}

void drainUpTo(Engine& e, PipeOutput& output, std::uint64_t max) {
    Pipe& pipe = *output.port.channel;
    for (std::uint64_t left = std::min(takeable(output), max); left > 0;) {
        const std::uint64_t index = output.port.readPosition & pipe.mask, run = std::min(left, pipe.mask - index + 1);
        output.sink->write(pipe.storage + (index << pipe.widthShift), run);
        left -= run;
        commitDrain(e, output, run);
    }
}

void collectEvent(Engine& e, TriggerOutput& output, std::uint32_t position) {
    if (!e.graph.memory.reserve(3 * sizeof position))  // with the room that a list doubles in
        throw Problem("no memory is left for the events of `" + output.port.channel->name + "`", "raise --memory");
    output.events.push_back(position);
}

void drainUpTo(Engine& e, TriggerOutput& output, std::uint64_t max) {
    for (std::uint64_t left = std::min(takeable(output), max); left > 0; --left) {
        const std::uint32_t position = output.port.channel->eventAt(output.port.readPosition);
        if (output.sink != nullptr)
            output.sink->write({.asserts = true, .position = position});
        else
            collectEvent(e, output, position);
        commitDrain(e, output, 1);
    }
}

// Time moves with each element that the output takes. Those that come after the end of a pause wait for it.
template <class Output>
void drainInTime(Engine& e, Output& output) {
    const std::uint64_t before = output.count;
    const bool pausing = !e.timing.pausing.empty();
    drainUpTo(e, output, pausing ? e.timing.clock.framesUntil(e.timing.nextDue()) : ~std::uint64_t{0});
    e.timing.clock.addFrames(output.count - before);
    if (takeable(output) == 0) return;
    e.timing.clock.jumpTo(e.timing.nextDue());
    e.scheduler.serviceRequested = true;
}

template <class Outputs>
void drainAll(Engine& e, Outputs& outputs, bool& seeksClockOutput) {
    for (auto& output : outputs) {
        if (seeksClockOutput && output.limit) {
            seeksClockOutput = false;
            drainInTime(e, output);
        } else {
            drainUpTo(e, output, ~std::uint64_t{0});
        }
    }
}

}  // namespace

void drainOutputs(Engine& e) {
    bool seeksClockOutput = !e.graph.hasInputs();
    drainAll(e, e.graph.pipeOutputs, seeksClockOutput);
    drainAll(e, e.graph.triggerOutputs, seeksClockOutput);
}

}  // namespace libzepl
