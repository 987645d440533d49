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

std::uint64_t takeable(const FrameOutput& output) {
    if (!output.isOpen()) return 0;
    const std::uint64_t there = output.framesThere();
    return output.limit ? std::min(there, *output.limit - output.count) : there;
}

template <class PortType>
void commitDrain(Engine& e, PortType& port, std::uint64_t n) {
    if (isInputDriven(*port.channel, nullptr)) e.activity.noteDrivenRead(e.scheduler.round);
    commitRead(e, port, n);
}

template <class Output>
void close(Engine& e, Output& output) {
    forEachOutputPort(output, [&](auto& port) { closePort(e, port); });
    findGeneratorReaders(e);
}

// Counts what the output has taken, and closes it when it is complete.
template <class Output>
void countDrain(Engine& e, Output& output, std::uint64_t n) {
    output.count += n;
    if (output.limit) e.activity.noteLimitedDrain(e.scheduler.round);
    if (output.complete()) close(e, output);
}

void write(PipeOutput& output, const void* elements, std::uint64_t n) {
    const unsigned shift = output.port.channel->widthShift;
    output.sink->write(elements, n);
    output.last.take(static_cast<const std::byte*>(elements), n << shift,
                     static_cast<std::size_t>(output.sink->channels()) << shift);
}

void writeUnwrittenOf(PipeOutput& output) {
    const std::uint64_t n = output.unwritten.size() >> output.port.channel->widthShift;
    output.unwritten.clear();
    if (n > 0) write(output, output.unwritten.data(), n);
}

void drainUpTo(Engine& e, PipeOutput& output, std::uint64_t max) {
    Pipe& pipe = *output.port.channel;
    writeUnwrittenOf(output);
    for (std::uint64_t left = std::min(takeable(output), max); left > 0;) {
        const std::uint64_t index = output.port.readPosition & pipe.mask, run = std::min(left, pipe.mask - index + 1);
        const void* elements = pipe.storage + (index << pipe.widthShift);
        if (e.recorder != nullptr) e.recorder->taken(e.scheduler.round, output.place, &elements, run);
        write(output, elements, run);
        left -= run;
        commitDrain(e, output.port, run);
        countDrain(e, output, run);
    }
}

// The member's next elements in one piece: where they are, or joined where the end of the storage parts them.
const void* elementsOf(FrameOutput::Member& member, std::uint64_t n) {
    const Pipe& pipe = *member.port.channel;
    const std::uint64_t index = member.port.readPosition & pipe.mask;
    if (n <= pipe.mask - index + 1) return pipe.storage + (index << pipe.widthShift);
    member.joined.resize(n << pipe.widthShift);
    pipe.copyOut(member.port.readPosition, member.joined.data(), n);
    return member.joined.data();
}

void keepLast(FrameOutput& output, std::uint64_t frames) {
    for (std::size_t i = 0; i < output.columns.size(); ++i) {
        FrameOutput::Member& member = output.members[i];
        const std::size_t frame = member.channels << member.port.channel->widthShift;
        member.last.take(static_cast<const std::byte*>(output.columns[i]) + (frames - 1) * frame, frame, frame);
    }
}

void write(FrameOutput& output, std::uint64_t frames) {
    output.sink->write(output.columns.data(), frames);
    keepLast(output, frames);
}

void writeUnwrittenOf(FrameOutput& output) {
    const FrameOutput::Member& first = output.members.front();
    const std::uint64_t frames = (first.unwritten.size() >> first.port.channel->widthShift) / first.channels;
    for (std::size_t i = 0; i < output.members.size(); ++i) {
        output.columns[i] = output.members[i].unwritten.data();
        output.members[i].unwritten.clear();
    }
    if (frames > 0) write(output, frames);
}

void drainUpTo(Engine& e, FrameOutput& output, std::uint64_t max) {
    constexpr std::uint64_t maxPiece = 4096;  // frames
    writeUnwrittenOf(output);
    for (std::uint64_t left = std::min(takeable(output), max); left > 0;) {
        const std::uint64_t piece = std::min(left, maxPiece);
        for (std::size_t i = 0; i < output.columns.size(); ++i)
            output.columns[i] = elementsOf(output.members[i], piece * output.members[i].channels);
        if (e.recorder != nullptr) e.recorder->taken(e.scheduler.round, output.place, output.columns.data(), piece);
        write(output, piece);
        left -= piece;
        for (FrameOutput::Member& member : output.members) commitDrain(e, member.port, piece * member.channels);
        countDrain(e, output, piece);
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
        const void* event = &position;
        if (e.recorder != nullptr) e.recorder->taken(e.scheduler.round, output.place, &event, 1);
        if (output.sink != nullptr)
            output.sink->write({.asserts = true, .position = position});
        else
            collectEvent(e, output, position);
        output.last = position;
        commitDrain(e, output.port, 1);
        countDrain(e, output, 1);
    }
}

bool drainSmall(Engine& e, PipeOutput& output) {
    const std::uint64_t n = takeable(output);
    if (n == 0) return true;
    if (output.limit || !output.unwritten.hasRoomFor(n << output.port.channel->widthShift)) return false;
    const void* elements = output.unwritten.take(output.port, n);
    if (e.recorder != nullptr) e.recorder->taken(e.scheduler.round, output.place, &elements, n);
    commitDrain(e, output.port, n);
    countDrain(e, output, n);
    return true;
}

bool drainSmall(Engine& e, FrameOutput& output) {
    const std::uint64_t frames = takeable(output);
    if (frames == 0) return true;
    const auto hasRoom = [&](const FrameOutput::Member& member) {
        return member.unwritten.hasRoomFor(frames * member.channels << member.port.channel->widthShift);
    };
    if (output.limit || !std::all_of(output.members.begin(), output.members.end(), hasRoom)) return false;
    for (std::size_t i = 0; i < output.members.size(); ++i) {
        FrameOutput::Member& member = output.members[i];
        output.columns[i] = member.unwritten.take(member.port, frames * member.channels);
    }
    if (e.recorder != nullptr) e.recorder->taken(e.scheduler.round, output.place, output.columns.data(), frames);
    for (FrameOutput::Member& member : output.members) commitDrain(e, member.port, frames * member.channels);
    countDrain(e, output, frames);
    return true;
}

bool drainSmall(Engine&, TriggerOutput& output) { return takeable(output) == 0; }

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

// Whether somebody waits for room that the output does not make.
bool holdsUpWriter(const Graph& graph, const FrameOutput::Member& member) {
    const Pipe& pipe = *member.port.channel;
    if (pipe.discarding || pipe.writePosition < pipe.writeLimit) return false;
    return pipe.waitingWriter != nullptr ||
           std::any_of(graph.pipeInputs.begin(), graph.pipeInputs.end(),
                       [&](const PipeInput& input) { return input.pipe == &pipe && !input.ended; });
}

}  // namespace

void drainOutputs(Engine& e) {
    bool seeksClockOutput = !e.graph.hasInputs();
    e.graph.forEachOutput([&](auto& output) {
        if (seeksClockOutput && output.limit) {
            seeksClockOutput = false;
            naming(e, output, [&] { drainInTime(e, output); });
        } else {
            naming(e, output, [&] { drainUpTo(e, output, ~std::uint64_t{0}); });
        }
    });
}

bool drainSmallOutputs(Engine& e) {
    if (!e.streams.drainsSmall) return false;
    bool all = true;
    e.graph.forEachOutput([&](auto& output) { all = all && drainSmall(e, output); });
    if (all) e.scheduler.serviceRequested = false;
    return all;
}

void allowSmallDrains(Engine& e) {
    if (e.streams.hasLiveInputs || e.streams.hasOutputs || e.pace.isOn()) return;
    e.streams.drainsSmall = true;
    for (PipeOutput& output : e.graph.pipeOutputs) output.unwritten.prepare();
    for (FrameOutput& output : e.graph.frameOutputs)
        for (FrameOutput::Member& member : output.members) member.unwritten.prepare();
}

void writeUnwritten(Engine& e) {
    const auto writeThose = [&](auto& outputs) {
        for (auto& output : outputs) {
            try {
                naming(e, output, [&] { writeUnwrittenOf(output); });
            } catch (const Problem& problem) {
                e.outcome.failLate(problem.what(), problem.remedy());
            }
        }
    };
    writeThose(e.graph.pipeOutputs);
    writeThose(e.graph.frameOutputs);
}

bool closeShortOutputs(Engine& e) {
    bool any = false;
    for (FrameOutput& output : e.graph.frameOutputs) {
        const auto holdsUp = [&](const auto& member) { return holdsUpWriter(e.graph, member); };
        if (!output.isHeldUp() || std::none_of(output.members.begin(), output.members.end(), holdsUp)) continue;
        close(e, output);
        any = true;
    }
    if (any) e.activity.noteDeadlockCheck(e.scheduler.round, true);
    return any;
}

}  // namespace libzepl
