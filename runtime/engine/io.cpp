// Inputs give and outputs take, at the end of a round.

#include <algorithm>

#include "runtime/engine/flow.h"
#include "runtime/files/stream_wait.h"

namespace libzepl {

bool hasRoom(Engine& e, Pipe& pipe) {
    if (!pipe.dropping && pipe.written >= pipe.writableUntil) lookAtReaders(e, pipe);
    return pipe.dropping || pipe.written < pipe.writableUntil || pipe.written >= pipe.storageUntil;
}

namespace {

// How many elements the input may give so that its frames don't pass the next pause's end.
std::uint64_t elementsUntilPause(const Engine& e, const PipeInput& input, std::uint64_t furthest) {
    if (e.pausing.empty()) return ~std::uint64_t{0};
    std::uint64_t elements = 0;
    if (__builtin_mul_overflow(furthest + e.clock.framesUntil(e.nextDue()), input.channels, &elements))
        return ~std::uint64_t{0};
    const std::uint64_t lastElement = elements + input.channels - 1;
    return lastElement - std::min(lastElement, input.delivered);
}

// Reads up to `n` elements, which end before the storage does, to where the pipe's next stand.
std::uint64_t readInto(PipeInput& input, std::uint64_t run) {
    Pipe& pipe = *input.pipe;
    const std::uint64_t index = pipe.written & pipe.mask;
    std::byte* to = pipe.storage + (index << pipe.widthShift);
    if (input.memory == nullptr) return input.source->read(to, run);
    const std::uint64_t given = std::min(run, *input.length - input.delivered);
    std::memcpy(to, input.memory + (input.delivered << pipe.widthShift), given << pipe.widthShift);
    return given;
}

// Fetches what the next piece gives of the caller's memory, while tasks work on this one: their copies of blocks are too
// short for the machine to see them coming.
void fetchAhead(const Pipe& pipe, std::uint64_t n) {
    constexpr std::uint64_t line = 64, most = 8192;
    const std::byte* next = pipe.storage + (pipe.written << pipe.widthShift);
    const std::uint64_t bytes = std::min(n << pipe.widthShift, most);
    for (std::uint64_t at = 0; at < bytes; at += line) __builtin_prefetch(next + at);
}

// Reads and drops, for a pipe that nobody reads.
std::uint64_t readAndDrop(PipeInput& input, std::uint64_t n) {
    if (input.memory != nullptr) return std::min(n, *input.length - input.delivered);
    alignas(64) std::byte unread[4096];
    return input.source->read(unread, std::min<std::uint64_t>(n, sizeof unread >> input.pipe->widthShift));
}

void countGiven(Engine& e, PipeInput& input, std::uint64_t n) {
    Pipe& pipe = *input.pipe;
    pipe.written += n;
    input.delivered += n;
    const std::uint64_t frames = input.channels == 1 ? input.delivered : input.delivered / input.channels;
    e.furthestFrame = std::max(e.furthestFrame, frames);
    input.ended = input.length && input.delivered >= *input.length;
    if (pipe.dropping) {
        pipe.slowest = pipe.written;
        return;
    }
    if (n > 0) e.lastChange = e.round;
    if (pipe.watched) notifyReaders(e, pipe);
}

}  // namespace

PieceSizes::PieceSizes(std::uint64_t fixedPiece, std::optional<std::uint64_t> seed, std::uint64_t input,
                       std::uint64_t largest)
    : fixed_(fixedPiece), largest_(largest), random_(seed.has_value()) {
    generator_.seed(seed.value_or(0) * 1000003 + input);
}

// Random pieces are small as often as large, since both find different faults.
std::uint64_t PieceSizes::next() {
    if (!random_) return fixed_;
    const std::uint64_t draw = generator_();
    const std::uint64_t bound = (draw & 1) != 0 ? std::min<std::uint64_t>(largest_, 16) : largest_;
    return 1 + (draw >> 1) % bound;
}

bool Engine::inputsEnded() const {
    const auto ended = [](const PipeInput& input) { return input.ended; };
    const auto givenAll = [](const TriggerInput& input) { return input.ended(); };
    return std::all_of(pipeInputs.begin(), pipeInputs.end(), ended) &&
           std::all_of(triggerInputs.begin(), triggerInputs.end(), givenAll);
}

bool Engine::inputCanDeliver() {
    for (PipeInput& input : pipeInputs)
        if (!input.ended && input.pipe->takenRound != round && hasRoom(*this, *input.pipe)) return true;
    for (const TriggerInput& input : triggerInputs)
        if (!input.ended()) return true;
    return false;
}

// Gives up to `n` elements, at most a run of the storage. False when the input has nothing more to give for now: the
// channel is full, the input has ended, or, on a live stream, nothing further is there yet.
bool Engine::deliverRun(PipeInput& input, std::uint64_t n, std::uint64_t& given) {
    Pipe& pipe = *input.pipe;
    std::uint64_t asked = n, got = 0;
    if (pipe.dropping) {
        got = readAndDrop(input, n);
        asked = std::max<std::uint64_t>(got, 1);
    } else {
        if (pipe.written >= pipe.storageUntil && !makeStorage(*this, pipe))
            throw Problem("no memory is left for the pipe `" + pipe.name + "`", "raise --memory");
        lookAtReaders(*this, pipe);
        if (pipe.written >= pipe.writableUntil) return false;
        asked = std::min({n, pipe.writableUntil - pipe.written, pipe.mask - (pipe.written & pipe.mask) + 1});
        got = input.borrows ? std::min(asked, *input.length - input.delivered) : readInto(input, asked);
    }
    if (got == 0) input.ended = true;
    if (got > 0) countGiven(*this, input, got);
    if (input.borrows) fetchAhead(pipe, std::min(got, *input.length - input.delivered));
    given += got;
    return got == asked && !input.ended;
}

// Gives at most `most` elements to a pipe that has room: of a live stream what is there. False when nothing came.
bool Engine::deliverPiece(PipeInput& input, std::uint64_t most) {
    std::uint64_t given = 0;
    while (given < most && deliverRun(input, most - given, given) && input.ready()) {
    }
    if (given > 0) anyDelivery = true;
    return given > 0;
}

// Gives the rows that the frames have reached, or, when no pipe's input is left, a piece of the rows.
bool Engine::deliverRows(TriggerInput& input, bool pipesEnded) {
    Trigger& trigger = *input.trigger;
    const auto frames = static_cast<std::int64_t>(furthestFrame);
    std::uint64_t left = pipesEnded ? input.pieces.next() : ~std::uint64_t{0};
    bool given = false;
    for (; left > 0 && !input.ended(); --left) {
        const TriggerRow& row = input.rows[input.next];
        const std::int64_t position =
            input.position + static_cast<std::int32_t>(row.position - static_cast<std::uint32_t>(input.position));
        if (!pipesEnded && position >= frames) break;
        lookAtReaders(*this, trigger);
        if (row.asserts && !trigger.dropping && trigger.written >= trigger.writableUntil) break;
        input.position = position;
        ++input.next;
        given = true;
        advanceStatus(*this, trigger, row.position);
        if (!row.asserts) continue;
        if (!trigger.dropping) {
            if (!appendEvent(*this, trigger, row.position))
                throw Problem("no memory is left for the trigger `" + trigger.name + "`", "raise --memory");
            lastChange = round;
        }
        ++trigger.written;
        if (trigger.watched) notifyReaders(*this, trigger);
    }
    if (given) anyDelivery = true;
    return given;
}

// Each input whose pipe was left alone in this round gives its next piece. Time moves with the one that is furthest on.
bool Engine::deliverInputs() {
    bool given = false;
    const std::uint64_t before = furthestFrame;
    for (PipeInput& input : pipeInputs) {
        if (input.ended || input.pipe->takenRound == round || !hasRoom(*this, *input.pipe) || !input.ready()) continue;
        const std::uint64_t most = std::min(input.pieces.next(), elementsUntilPause(*this, input, before));
        if (most > 0 && deliverPiece(input, most)) given = true;
    }
    if (furthestFrame != before) clock.addFrames(furthestFrame - before);
    if (triggerInputs.empty()) return given;
    const bool pipesEnded =
        std::all_of(pipeInputs.begin(), pipeInputs.end(), [](const PipeInput& input) { return input.ended; });
    for (TriggerInput& input : triggerInputs) {
        const bool leftAlone = !pipesEnded || input.trigger->takenRound != round;
        if (!input.ended() && leftAlone && deliverRows(input, pipesEnded)) given = true;
    }
    return given;
}

// Puts all input into the channels before any task runs.
void Engine::deliverWhole() {
    for (PipeInput& input : pipeInputs) {
        Pipe& pipe = *input.pipe;
        while (!input.ended) {
            endIfStopped("the input of `" + pipe.name + "`");
            const std::uint64_t more = input.length ? *input.length - input.delivered : pipe.capacity;
            if (!tryCapacity(*this, pipe, pipe.written + std::max<std::uint64_t>(more, 1)))
                throw Problem("no memory is left for the whole input of `" + pipe.name + "`",
                              "raise --memory, or leave out --feed whole");
            deliverPiece(input, std::max<std::uint64_t>(more, 1));
        }
    }
    clock.addFrames(furthestFrame);
    for (TriggerInput& input : triggerInputs) {
        if (!tryCapacity(*this, *input.trigger, input.rows.size()))
            throw Problem("no memory is left for the whole input of `" + input.trigger->name + "`",
                          "raise --memory, or leave out --feed whole");
        while (!input.ended()) deliverRows(input, true);
    }
}

namespace {

// What the output may still take of what is there.
template <class Output>
std::uint64_t takeable(const Output& output) {
    if (output.end.mode != EndMode::reading) return 0;
    const std::uint64_t there = output.end.available();
    return output.limit ? std::min(there, *output.limit - output.count) : there;
}

template <class Output>
void countDrained(Engine& e, Output& output, std::uint64_t n) {
    output.count += n;
    output.lastRound = e.round;
    if (isDriven(*output.end.channel, nullptr)) e.lastFedTake = e.round;
    countTake(e, output.end, n);
    if (!output.complete()) return;
    closeEnd(e, output.end);
    e.findGeneratorReaders();
}

void drainUpTo(Engine& e, PipeOutput& output, std::uint64_t most) {
    Pipe& pipe = *output.end.channel;
    for (std::uint64_t left = std::min(takeable(output), most); left > 0;) {
        const std::uint64_t index = output.end.taken & pipe.mask, run = std::min(left, pipe.mask - index + 1);
        output.sink->write(pipe.storage + (index << pipe.widthShift), run);
        left -= run;
        countDrained(e, output, run);
    }
}

void collectEvent(Engine& e, TriggerOutput& output, std::uint32_t position) {
    if (!e.memory.take(3 * sizeof position))  // with the room that a list doubles in
        throw Problem("no memory is left for the events of `" + output.end.channel->name + "`", "raise --memory");
    output.events.push_back(position);
}

void drainUpTo(Engine& e, TriggerOutput& output, std::uint64_t most) {
    for (std::uint64_t left = std::min(takeable(output), most); left > 0; --left) {
        const std::uint32_t position = output.end.channel->eventAt(output.end.taken);
        if (output.sink != nullptr)
            output.sink->write({.asserts = true, .position = position});
        else
            collectEvent(e, output, position);
        countDrained(e, output, 1);
    }
}

// Time moves with each element that the output takes. Those that come after the end of a pause wait for it.
template <class Output>
void drainInTime(Engine& e, Output& output) {
    const std::uint64_t before = output.count;
    const bool pausing = !e.pausing.empty();
    drainUpTo(e, output, pausing ? e.clock.framesUntil(e.nextDue()) : ~std::uint64_t{0});
    e.clock.addFrames(output.count - before);
    if (takeable(output) == 0) return;
    e.clock.jumpTo(e.nextDue());
    e.hubWanted = true;
}

template <class Outputs>
void drainAll(Engine& e, Outputs& outputs, bool& leaderIsSought) {
    for (auto& output : outputs) {
        if (leaderIsSought && output.limit) {
            leaderIsSought = false;
            drainInTime(e, output);
        } else {
            drainUpTo(e, output, ~std::uint64_t{0});
        }
    }
}

}  // namespace

// Outputs take what is there. Without inputs, time moves with the first that has a limit.
void Engine::drainOutputs() {
    bool leaderIsSought = !hasInputs();
    drainAll(*this, pipeOutputs, leaderIsSought);
    drainAll(*this, triggerOutputs, leaderIsSought);
}

}  // namespace libzepl
