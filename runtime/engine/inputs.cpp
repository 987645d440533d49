#include "runtime/engine/inputs.h"

#include <algorithm>

#include "runtime/engine/flow.h"
#include "runtime/files/stream_wait.h"

namespace libzepl {

namespace {

// How many elements the input may give so that its frames don't pass the next pause's end.
std::uint64_t elementsUntilPause(const Engine& e, const PipeInput& input, std::uint64_t furthest) {
    if (e.timing.pausing.empty()) return ~std::uint64_t{0};
    std::uint64_t elements = 0;
    if (__builtin_mul_overflow(furthest + e.timing.clock.framesUntil(e.timing.nextDue()), input.channels, &elements))
        return ~std::uint64_t{0};
    const std::uint64_t lastElement = elements + input.channels - 1;
    return lastElement - std::min(lastElement, input.delivered);
}

// Reads up to `n` elements, which end before the storage does, to where the pipe's next ones are.
std::uint64_t readInto(PipeInput& input, std::uint64_t run) {
    Pipe& pipe = *input.pipe;
    const std::uint64_t index = pipe.writePosition & pipe.mask;
    std::byte* to = pipe.storage + (index << pipe.widthShift);
    if (input.memory == nullptr) return input.source->read(to, run);
    const std::uint64_t given = std::min(run, *input.length - input.delivered);
    std::memcpy(to, input.memory + (input.delivered << pipe.widthShift), given << pipe.widthShift);
    return given;
}

// Fetches what the next chunk gives of the caller's memory, while tasks work on this one: their copies of blocks are too
// short for the machine to see them coming.
void prefetch(const Pipe& pipe, std::uint64_t n) {
    constexpr std::uint64_t line = 64, most = 8192;
    const std::byte* next = pipe.storage + (pipe.writePosition << pipe.widthShift);
    const std::uint64_t bytes = std::min(n << pipe.widthShift, most);
    for (std::uint64_t at = 0; at < bytes; at += line) __builtin_prefetch(next + at);
}

// Reads and discards, for a pipe that nobody reads.
std::uint64_t readAndDiscard(Engine& e, PipeInput& input, std::uint64_t n) {
    Pipe& pipe = *input.pipe;
    alignas(64) std::byte unread[4096];
    const std::byte* from = unread;
    if (input.memory != nullptr) {
        n = std::min(n, *input.length - input.delivered);
        from = input.memory + (input.delivered << pipe.widthShift);
    } else {
        n = input.source->read(unread, std::min<std::uint64_t>(n, sizeof unread >> pipe.widthShift));
    }
    if (pipe.isWatched) showDiscarded(e, pipe, from, n);
    if (e.recorder != nullptr) e.recorder->elements(from, n << pipe.widthShift);
    return n;
}

void commitDelivery(Engine& e, PipeInput& input, std::uint64_t n) {
    Pipe& pipe = *input.pipe;
    pipe.writePosition += n;
    input.delivered += n;
    const std::uint64_t frames = input.channels == 1 ? input.delivered : input.delivered / input.channels;
    e.feed.furthestFrame = std::max(e.feed.furthestFrame, frames);
    input.ended = input.length && input.delivered >= *input.length;
    if (pipe.discarding) {
        pipe.tail = pipe.writePosition;
        return;
    }
    if (n > 0) e.activity.noteChange(e.scheduler.round);
    if (pipe.notifyOnWrite) notifyReaders(e, pipe);
}

// Delivers up to `n` elements, at most a run of the storage. False when the input has nothing more for now: the
// channel is full, the input has ended, or, on a live stream, nothing further is there yet.
bool deliverRun(Engine& e, PipeInput& input, std::uint64_t n, std::uint64_t& given) {
    Pipe& pipe = *input.pipe;
    std::uint64_t asked = n, got = 0;
    if (pipe.discarding) {
        got = readAndDiscard(e, input, n);
        asked = std::max<std::uint64_t>(got, 1);
    } else {
        if (pipe.writePosition >= pipe.storageLimit && !makeStorage(e.graph.memory, pipe))
            throw Problem("no memory is left for the pipe `" + pipe.name + "`", "raise --memory");
        updateWriteLimit(e, pipe);
        if (pipe.writePosition >= pipe.writeLimit) return false;
        asked = std::min({n, pipe.writeLimit - pipe.writePosition, pipe.mask - (pipe.writePosition & pipe.mask) + 1});
        got = input.zeroCopy ? std::min(asked, *input.length - input.delivered) : readInto(input, asked);
        if (e.recorder != nullptr)
            e.recorder->elements(pipe.storage + ((pipe.writePosition & pipe.mask) << pipe.widthShift),
                                 got << pipe.widthShift);
    }
    if (got == 0) input.ended = true;
    if (got > 0) commitDelivery(e, input, got);
    if (input.prefetches) prefetch(pipe, std::min(got, *input.length - input.delivered));
    given += got;
    return got == asked && !input.ended;
}

// Delivers at most `max` elements to a pipe that has room: of a live stream what is there. False when nothing came.
bool deliverChunk(Engine& e, PipeInput& input, std::uint64_t max, std::uint64_t round) {
    std::uint64_t given = 0;
    while (given < max && deliverRun(e, input, max - given, given) && input.ready()) {
    }
    if (given > 0) e.feed.anyDelivery = true;
    if (e.recorder != nullptr && (given > 0 || input.ended))
        e.recorder->delivered(round, input.place, given, input.ended);
    return given > 0;
}

// The same of what a script has for the round; runs end in it where they ended before, so that readers wake in that order.
bool deliverScripted(Engine& e, PipeInput& input, std::uint64_t round) {
    const std::size_t place = input.place;
    const std::uint64_t due = e.script->due(round, place), before = input.delivered;
    const bool given = due > 0 && deliverChunk(e, input, due, round);
    e.script->deliveredOf(round, place, input.delivered - before);
    if (!input.ended && e.script->ends(round, place)) {
        input.ended = true;
        if (e.recorder != nullptr) e.recorder->delivered(round, place, 0, true);
    }
    return given;
}

// Delivers the rows that the frames have reached, or, when no pipe's input is left, a chunk of the rows.
bool deliverRows(Engine& e, TriggerInput& input, bool pipesEnded) {
    Trigger& trigger = *input.trigger;
    const auto frames = static_cast<std::int64_t>(e.feed.furthestFrame);
    std::uint64_t left = pipesEnded ? input.chunks.next() : ~std::uint64_t{0};
    bool given = false;
    for (; left > 0 && !input.ended(); --left) {
        const TriggerRow& row = input.rows[input.next];
        const std::int64_t position =
            input.position + static_cast<std::int32_t>(row.position - static_cast<std::uint32_t>(input.position));
        if (!pipesEnded && position >= frames) break;
        updateWriteLimit(e, trigger);
        if (row.asserts && !trigger.discarding && trigger.writePosition >= trigger.writeLimit) break;
        input.position = position;
        ++input.next;
        given = true;
        advanceStatus(e, trigger, row.position);
        if (!row.asserts) continue;
        if (!trigger.discarding) {
            if (!appendEvent(e, trigger, row.position))
                throw Problem("no memory is left for the trigger `" + trigger.name + "`", "raise --memory");
            e.activity.noteChange(e.scheduler.round);
        } else if (trigger.isWatched) {
            showDiscarded(e, trigger, &row.position, 1);
        }
        ++trigger.writePosition;
        if (trigger.notifyOnWrite) notifyReaders(e, trigger);
    }
    if (given) e.feed.anyDelivery = true;
    return given;
}

bool isLockstep(const Engine& e) { return e.options.feed.kind == FeedPolicy::Kind::lockstep; }

// Whether each input can give its next frame, and what the last ones led to is done. An input that stays held up is not
// waited for, as one that has ended is not.
bool isLockstepDue(const Engine& e) {
    const std::uint64_t round = e.scheduler.round;
    const bool isDone =
        e.scheduler.readyCount == 0 || e.activity.isQuiescent(round) || e.activity.isSelfSustaining(round);
    const auto isWaitedFor = [&](const PipeInput& input) {
        return !input.ended && (hasRoom(*input.pipe) ? !input.ready() : !e.activity.isDeadlockRuledOut());
    };
    return isDone && std::none_of(e.graph.pipeInputs.begin(), e.graph.pipeInputs.end(), isWaitedFor);
}

}  // namespace

bool hasRoom(const Pipe& pipe) {
    return pipe.discarding || pipe.writePosition < pipe.writeLimit || pipe.writePosition >= pipe.storageLimit;
}

void updateInputLimits(Engine& e) {
    for (PipeInput& input : e.graph.pipeInputs) updateWriteLimit(e, *input.pipe);
    for (TriggerInput& input : e.graph.triggerInputs) updateWriteLimit(e, *input.trigger);
}

void updateRoom(Engine& e) {
    for (PipeInput& input : e.graph.pipeInputs)
        if (!input.ended && !hasRoom(*input.pipe)) updateWriteLimit(e, *input.pipe);
}

bool inputCanDeliver(const Engine& e) {
    if (isLockstep(e)) return isLockstepDue(e);
    for (const PipeInput& input : e.graph.pipeInputs)
        if (!input.ended && input.pipe->readRound != e.scheduler.round && hasRoom(*input.pipe)) return true;
    for (const TriggerInput& input : e.graph.triggerInputs)
        if (!input.ended()) return true;
    return false;
}

bool inputsEndedOrHeld(const Engine& e) {
    const auto isHeld = [](const auto& channel) {
        return !channel.discarding && channel.writePosition >= channel.writeLimit;
    };
    bool framesComeYet = false;
    for (const PipeInput& input : e.graph.pipeInputs) {
        if (!input.ended && !isHeld(*input.pipe)) return false;
        framesComeYet |= !input.ended;
    }
    // Rows that wait for frames are held up with them.
    if (framesComeYet) return true;
    return std::all_of(e.graph.triggerInputs.begin(), e.graph.triggerInputs.end(),
                       [&](const TriggerInput& input) { return input.ended() || isHeld(*input.trigger); });
}

bool deliverInputs(Engine& e) {
    bool given = false;
    const std::uint64_t before = e.feed.furthestFrame;
    updateRoom(e);
    if (isLockstep(e) && !isLockstepDue(e)) return false;
    for (PipeInput& input : e.graph.pipeInputs) {
        const bool isRead = !isLockstep(e) && input.pipe->readRound == e.scheduler.round;
        if (input.ended || isRead || !hasRoom(*input.pipe) || !input.ready()) continue;
        if (e.script != nullptr) {
            given |= deliverScripted(e, input, e.scheduler.round);
            continue;
        }
        const std::uint64_t most = std::min(input.chunks.next(), elementsUntilPause(e, input, before));
        if (most > 0 && naming(e, *input.pipe, [&] { return deliverChunk(e, input, most, e.scheduler.round); }))
            given = true;
    }
    if (e.feed.furthestFrame != before) e.timing.clock.addFrames(e.feed.furthestFrame - before);
    if (e.graph.triggerInputs.empty()) return given;
    const bool pipesEnded = e.graph.pipeInputsEnded();
    for (TriggerInput& input : e.graph.triggerInputs) {
        const bool leftAlone = !pipesEnded || input.trigger->readRound != e.scheduler.round;
        if (!input.ended() && leftAlone && deliverRows(e, input, pipesEnded)) given = true;
    }
    return given;
}

void deliverWhole(Engine& e) {
    for (PipeInput& input : e.graph.pipeInputs) {
        Pipe& pipe = *input.pipe;
        while (!input.ended) {
            endIfStopped("the input of `" + pipe.name + "`");
            const std::uint64_t more = input.length ? *input.length - input.delivered : pipe.capacity;
            if (!tryCapacity(e, pipe, pipe.writePosition + std::max<std::uint64_t>(more, 1)))
                throw Problem("no memory is left for the whole input of `" + pipe.name + "`",
                              "raise --memory, or leave out --feed whole");
            if (e.script == nullptr)
                naming(e, pipe, [&] { return deliverChunk(e, input, std::max<std::uint64_t>(more, 1), 0); });
            else if (!deliverScripted(e, input, 0) && !input.ended)
                throw Interrupted("the input of `" + pipe.name + "`");
        }
    }
    e.timing.clock.addFrames(e.feed.furthestFrame);
    for (TriggerInput& input : e.graph.triggerInputs) {
        if (!tryCapacity(e, *input.trigger, input.rows.size()))
            throw Problem("no memory is left for the whole input of `" + input.trigger->name + "`",
                          "raise --memory, or leave out --feed whole");
        while (!input.ended()) deliverRows(e, input, true);
    }
}

}  // namespace libzepl
