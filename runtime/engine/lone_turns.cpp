#include "runtime/engine/lone_turns.h"

#include <algorithm>

#include "runtime/engine/flow.h"
#include "runtime/engine/outputs.h"
#include "runtime/engine/self_sustaining.h"

namespace libzepl {

namespace {

using Ports = std::span<PipePort* const>;

// Whether only the current task and the inputs can move, and nobody follows what happens in which round.
bool isOnlyOneReady(const Engine& e) {
    const Streams& streams = e.streams;
    return e.scheduler.readyCount == 0 && e.scheduler.roundLeft == 0 && !e.scheduler.serviceRequested && e.setUpDone &&
           e.timing.pausing.empty() && !streams.hasLiveInputs && !streams.hasOutputs && !e.watches.any() &&
           e.script == nullptr && e.recorder == nullptr && !e.pace.isOn() && !e.outside.isAsked() &&
           e.options.feed.kind != FeedPolicy::Kind::lockstep && !e.stopRequested();
}

// An input whose pipe is read in each of the rounds gives nothing in them.
bool inputsRest(const Engine& e, Ports from) {
    const auto isRead = [&](const PipeInput& input) {
        return std::any_of(from.begin(), from.end(), [&](const PipePort* port) { return port->channel == input.pipe; });
    };
    return std::all_of(e.graph.pipeInputs.begin(), e.graph.pipeInputs.end(),
                       [&](const PipeInput& input) { return input.ended || isRead(input); }) &&
           std::all_of(e.graph.triggerInputs.begin(), e.graph.triggerInputs.end(),
                       [](const TriggerInput& input) { return input.ended(); });
}

std::uint64_t inOnePiece(const Pipe& pipe, std::uint64_t position) { return pipe.mask - (position & pipe.mask) + 1; }

// Up to `n` elements that can be taken in turns without waking anybody.
std::uint64_t takeable(const PipePort& port, std::uint64_t n) {
    const Pipe& pipe = *port.channel;
    if (pipe.waitingWriter != nullptr || !isInputDriven(pipe, port.task)) return 0;
    return std::min({n, port.available(), inOnePiece(pipe, port.readPosition)});
}

// What the outputs that read the pipe can take of it without the dispatcher, `n` at most.
std::uint64_t drainable(const Engine& e, const Pipe& pipe, std::uint64_t n) {
    if (pipe.hasOutput && !e.streams.drainsSmall) return 0;
    for (const PipeOutput& output : e.graph.pipeOutputs) {
        if (output.port.channel != &pipe || output.port.mode != PortMode::reading) continue;
        if (output.limit || output.port.available() > 0) return 0;
        n = std::min<std::uint64_t>(n, output.unwritten.room() >> pipe.widthShift);
    }
    for (const FrameOutput& output : e.graph.frameOutputs)
        for (const FrameOutput::Member& member : output.members)
            if (member.port.channel == &pipe) return 0;
    return n;
}

// Up to `n` elements that can be written in turns without waking anybody, with room for one more after them.
std::uint64_t writeable(const Engine& e, const PipePort& port, std::uint64_t n) {
    const Pipe& pipe = *port.channel;
    if (pipe.discarding || pipe.waitingReaders > 0 || pipe.capacity < 2 || pipe.writePosition >= pipe.writeLimit)
        return 0;
    n = std::min({n, pipe.writeLimit - pipe.writePosition - 1, inOnePiece(pipe, pipe.writePosition)});
    return drainable(e, pipe, n);
}

}  // namespace

std::uint64_t turnsAlone(Engine& e, Ports from, const PipePort& to, std::uint64_t most) {
    if (!isOnlyOneReady(e) || !inputsRest(e, from)) return 0;
    const std::uint64_t patient = e.activity.lastPatienceCheck() + patienceRounds(e.options);
    std::uint64_t n = patient > e.scheduler.round + 1 ? std::min(most, patient - e.scheduler.round - 1) : 0;
    for (const PipePort* port : from) n = takeable(*port, n);
    return n > 0 ? writeable(e, to, n) : 0;
}

void passTurns(Engine& e, Ports from, PipePort& to, std::uint64_t turns) {
    Scheduler& scheduler = e.scheduler;
    scheduler.round += turns - 1;
    scheduler.turn += turns - 1;
    for (PipePort* port : from) {
        port->readPosition += turns;
        port->channel->readRound = scheduler.round;
        markFirstRead(e, *port);
    }
    Pipe& written = *to.channel;
    written.writePosition += turns;
    to.turn = scheduler.turn;
    to.turnStart = written.writePosition - 1;
    e.activity.noteChange(scheduler.round);
    if (written.hasOutput && !drainSmallOutputs(e)) e.scheduler.serviceRequested = true;
    ++scheduler.round;
    ++scheduler.turn;
}

}  // namespace libzepl
