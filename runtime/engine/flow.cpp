#include "runtime/engine/flow.h"

#include <limits>

#include "runtime/engine/task_graph.h"

namespace libzepl {

namespace {

constexpr std::uint64_t unlimited = std::numeric_limits<std::uint64_t>::max();

bool retains(const Pipe& pipe) { return pipe.retains; }
bool retains(const Trigger&) { return false; }

void setWaiting(Task& task, PipeEnd& end) {
    task.waitingPipe = &end;
    task.waitingTrigger = nullptr;
}
void setWaiting(Task& task, TriggerEnd& end) {
    task.waitingPipe = nullptr;
    task.waitingTrigger = &end;
}

TaskState waitingState(const PipeEnd&) { return TaskState::waitingForElements; }
TaskState waitingState(const TriggerEnd&) { return TaskState::waitingForEvent; }

template <class ChannelType>
void lookAtReadersOf(Engine& e, ChannelType& channel) {
    std::uint64_t until = unlimited;
    channel.atSlowest = 1;
    channel.dropping = e.settled && channel.readers.empty() && !retains(channel);
    if (!e.settled) {
        channel.slowest = 0;  // whoever opens it yet begins at the first element
        until = channel.capacity;
    } else if (channel.readers.empty()) {
        channel.slowest = channel.written;
        if (channel.dropping) until = 0;
    } else {
        channel.slowest = unlimited;
        for (const auto* reader : channel.readers) {
            if (reader->taken > channel.slowest) continue;
            channel.atSlowest = reader->taken == channel.slowest ? channel.atSlowest + 1 : 1;
            channel.slowest = reader->taken;
        }
        until = channel.slowest + channel.capacity;
    }
    channel.writableUntil = std::min(until, channel.storageUntil);
}

template <class ChannelType>
void wakeWriter(Engine& e, ChannelType& channel) {
    Task& task = *channel.waitingWriter;
    channel.waitingWriter = nullptr;
    e.pushReady(task);
}

template <class ChannelType>
void notifyWriterOf(Engine& e, ChannelType& channel) {
    lookAtReadersOf(e, channel);
    const bool canGoOn = channel.dropping || channel.written < channel.writableUntil;
    if (channel.waitingWriter != nullptr && canGoOn) wakeWriter(e, channel);
}

template <class ChannelType>
void notifyReadersOf(Engine& e, ChannelType& channel) {
    if (channel.hasOutput) e.hubWanted = true;
    for (auto* reader : channel.readers) {
        if (reader->wanted == 0 || reader->available() < reader->wanted) continue;
        reader->wanted = 0;
        --channel.waitingReaders;
        e.pushReady(*reader->task);
    }
    channel.watched = channel.hasOutput || channel.waitingReaders > 0;
}

template <class ChannelType>
std::string writerText(const ChannelType& channel) {
    return "`" + channel.name +
           "` has a writer already: " + (channel.inputWrites ? "its input" : channel.writer->task->label());
}

template <class EndType>
void refuseSecondWriter(Engine& e, EndType& end) {
    e.current->outcome.index = end.position;
    e.endCurrent(TaskReport::State::refused, writerText(*end.channel), "give each command's output a name of its own");
}

template <class EndType>
void openEndOf(Engine& e, EndType& end, EndMode mode) {
    if (end.mode == mode) return;
    if (end.mode != EndMode::closed) misuse(e, "opens `" + end.channel->name + "` for reading and for writing");
    auto& channel = *end.channel;
    if (mode == EndMode::writing) {
        if (channel.inputWrites || channel.writer != nullptr) refuseSecondWriter(e, end);
        channel.writer = &end;
    } else {
        lookAtReadersOf(e, channel);
        end.taken = end.opened = channel.slowest;
        channel.readers.push_back(&end);
        if (end.task != nullptr) {
            ++end.task->readingEnds;
            channel.hadReader = true;
        }
        lookAtReadersOf(e, channel);
        if (channel.waitingWriter != nullptr) wakeWriter(e, channel);
    }
    end.mode = mode;
    if (e.settled && end.task != nullptr) joinCycles(e);
}

template <class EndType>
void closeEndOf(Engine& e, EndType& end) {
    auto& channel = *end.channel;
    if (end.mode == EndMode::reading) {
        std::erase(channel.readers, &end);
        if (channel.waitingWriter != nullptr) wakeWriter(e, channel);
        lookAtReadersOf(e, channel);
    }
    end.mode = EndMode::closed;
}

template <class EndType>
void waitForElementsOf(Engine& e, EndType& end, std::uint64_t n) {
    Task& task = *end.task;
    while (end.available() < n) {
        noteShort(e, end);
        end.wanted = n;
        ++end.channel->waitingReaders;
        end.channel->watched = true;
        task.state = waitingState(end);
        setWaiting(task, end);
        e.switchAway();
    }
}

template <class EndType>
void waitAsOnFull(Engine& e, EndType& end) {
    end.channel->waitingWriter = end.task;
    end.task->state = TaskState::waitingForRoom;
    setWaiting(*end.task, end);
    e.switchAway();
}

bool makeStorageOf(Engine& e, Pipe& pipe) { return makeStorage(e, pipe); }
bool makeStorageOf(Engine&, Trigger&) { return true; }

template <class EndType>
bool waitForRoomOf(Engine& e, EndType& end) {
    auto& channel = *end.channel;
    for (;;) {
        lookAtReadersOf(e, channel);
        if (channel.dropping) return false;
        if (channel.written < channel.writableUntil) return true;
        if (channel.written >= channel.storageUntil) {
            if (!makeStorageOf(e, channel)) outOfMemory(e, "the pipe `" + channel.name + "`");
        } else {
            waitAsOnFull(e, end);
        }
    }
}

template <class EndType>
void countDroppedOf(Engine& e, EndType& end, std::uint64_t n) {
    auto& channel = *end.channel;
    if (end.turn != e.turn) {
        end.turn = e.turn;
        end.turnStart = channel.written;
    }
    channel.written += n;
    channel.slowest = channel.written;
    if (channel.written - end.turnStart < channel.capacity) return;
    // A pure source has nothing else to do; growth lets it go on if its other outputs need it.
    if (end.task->readingEnds == 0)
        waitAsOnFull(e, end);
    else
        e.yieldCurrent();
}

template <class ChannelType>
bool isDrivenOf(const ChannelType& channel, const Task* reader) {
    if (channel.hasStarts) return false;
    if (channel.inputWrites) return true;
    if (channel.writer == nullptr) return false;
    const Task& writer = *channel.writer->task;
    if (writer.state == TaskState::ended) return true;  // what it left has an end, as an input has
    if (reader != nullptr && reader->drive == writer.drive) return false;
    if (isDriven(writer)) return true;
    return writer.readingEnds == 0 && reader != nullptr && reader->takesGenerators;
}

template <class EndType>
void beginTakingTurnOf(Engine& e, EndType& end) {
    end.turn = e.turn;
    if (end.task == nullptr) return;
    end.fed = isDrivenOf(*end.channel, end.task);
    noteTake(e, *end.task, end.fed);
}

std::uint64_t powerOfTwoFrom(std::uint64_t n) {
    std::uint64_t size = 1;
    while (size < n) size *= 2;
    return size;
}

// Gives the trigger a ring of at least `events`, with what it held. False when there is no memory for it.
bool growRing(Engine& e, Trigger& trigger, std::uint64_t events) {
    if (events > (unlimited >> 8)) return false;
    const std::uint64_t size = powerOfTwoFrom(events);
    Charge charge;
    if (!charge.take(e.memory, costOf(size * sizeof(std::uint32_t)))) return false;
    std::vector<std::uint32_t> larger(size);
    for (std::uint64_t n = trigger.slowest; n < trigger.written; ++n) larger[n & (size - 1)] = trigger.eventAt(n);
    trigger.ring = std::move(larger);
    trigger.ringCharge = std::move(charge);
    return true;
}

// Gives the pipe a ring of `elements`, a power of two, with what it held.
bool moveToRing(Engine& e, Pipe& pipe, std::uint64_t elements) {
    const std::uint64_t bytes = elements << pipe.widthShift;
    if (!e.memory.take(bytes)) return false;
    AlignedBytes ring = allocateAligned(bytes);
    if (ring == nullptr) {
        e.memory.giveBack(bytes);
        return false;
    }
    for (std::uint64_t at = pipe.slowest; at < pipe.written;) {
        const std::uint64_t to = at & (elements - 1);
        const std::uint64_t n = std::min(pipe.written - at, elements - to);
        pipe.copyOut(at, ring.get() + (to << pipe.widthShift), n);
        at += n;
    }
    e.memory.giveBack(pipe.ownBytes);
    pipe.own = std::move(ring);
    pipe.ownBytes = bytes;
    pipe.storage = pipe.own.get();
    pipe.mask = elements - 1;
    pipe.storageUntil = unlimited;
    return true;
}

// Doubles the storage of a pipe that keeps everything, or makes it `expected` elements where that is more.
bool extendRetained(Engine& e, Pipe& pipe, std::uint64_t expected) {
    const std::uint64_t elements = std::max({pipe.storageUntil * 2, expected, pipe.capacity, std::uint64_t{4096}});
    if (elements > maxElements) return false;
    const std::uint64_t bytes = elements << pipe.widthShift;
    if (!e.memory.take(bytes - pipe.ownBytes)) return false;
    auto* grown = static_cast<std::byte*>(std::realloc(pipe.own.get(), bytes));
    if (grown == nullptr) {
        e.memory.giveBack(bytes - pipe.ownBytes);
        return false;
    }
    preferLargePages(grown + pipe.ownBytes, bytes - pipe.ownBytes);
    static_cast<void>(pipe.own.release());
    pipe.own.reset(grown);
    pipe.ownBytes = bytes;
    pipe.storage = grown;
    pipe.storageUntil = elements;
    pipe.mask = unlimited >> 1;
    return true;
}

}  // namespace

void openEnd(Engine& e, PipeEnd& end, EndMode mode) { openEndOf(e, end, mode); }
void openEnd(Engine& e, TriggerEnd& end, EndMode mode) { openEndOf(e, end, mode); }
void closeEnd(Engine& e, PipeEnd& end) { closeEndOf(e, end); }
void closeEnd(Engine& e, TriggerEnd& end) { closeEndOf(e, end); }
void lookAtReaders(Engine& e, Pipe& pipe) { lookAtReadersOf(e, pipe); }
void lookAtReaders(Engine& e, Trigger& trigger) { lookAtReadersOf(e, trigger); }
void waitForElements(Engine& e, TriggerEnd& end, std::uint64_t n) { waitForElementsOf(e, end, n); }
bool waitForRoom(Engine& e, PipeEnd& end) { return waitForRoomOf(e, end); }
bool waitForRoom(Engine& e, TriggerEnd& end) { return waitForRoomOf(e, end); }
void countDropped(Engine& e, PipeEnd& end, std::uint64_t n) { countDroppedOf(e, end, n); }
void countDropped(Engine& e, TriggerEnd& end, std::uint64_t n) { countDroppedOf(e, end, n); }
void notifyReaders(Engine& e, Pipe& pipe) { notifyReadersOf(e, pipe); }
void notifyReaders(Engine& e, Trigger& trigger) { notifyReadersOf(e, trigger); }
void notifyWriter(Engine& e, Pipe& pipe) { notifyWriterOf(e, pipe); }
void notifyWriter(Engine& e, Trigger& trigger) { notifyWriterOf(e, trigger); }
void beginTakingTurn(Engine& e, PipeEnd& end) { beginTakingTurnOf(e, end); }
void beginTakingTurn(Engine& e, TriggerEnd& end) { beginTakingTurnOf(e, end); }
bool isDriven(const Task& task) { return task.drive->turnsLeft > 0 && !task.outOfPatience; }
bool isDriven(const Pipe& pipe, const Task* reader) { return isDrivenOf(pipe, reader); }
bool isDriven(const Trigger& trigger, const Task* reader) { return isDrivenOf(trigger, reader); }

void noteTake(Engine& e, Task& task, bool driven) {
    task.takeTurn = e.turn;
    task.outOfPatience = false;
    task.pausedTicks = 0;
    Drive& drive = *task.drive;
    if (driven) {
        e.lastFedTake = e.round;
        drive.turnsLeft = drive.window;
    } else if (drive.turnsLeft > 0) {
        --drive.turnsLeft;
    }
}

std::uint32_t takeStatus(Engine& e, TriggerEnd& end) {
    const std::uint32_t status = end.channel->status;
    if (end.mode == EndMode::reading && status != end.seenStatus) {
        end.seenStatus = status;
        noteTake(e, *end.task, isDriven(*end.channel, end.task));
    }
    return status;
}

void takeClock(Engine& e, Task& task) {
    task.followsClock = true;
    if (task.seenFrames == e.furthestFrame) return;
    task.seenFrames = e.furthestFrame;
    noteTake(e, task, true);
}

void waitForElements(Engine& e, PipeEnd& end, std::uint64_t n) {
    raiseCapacity(e, *end.channel, n);
    waitForElementsOf(e, end, n);
}

bool tryCapacity(Engine& e, Pipe& pipe, std::uint64_t n) {
    if (n <= pipe.capacity) return true;
    if (n > maxElements) return false;
    const bool ownRing = pipe.own != nullptr && !pipe.retains;
    if (ownRing && n > pipe.mask + 1 && !moveToRing(e, pipe, powerOfTwoFrom(n))) return false;
    pipe.capacity = n;
    lookAtReaders(e, pipe);
    if (pipe.waitingWriter != nullptr) wakeWriter(e, pipe);
    return true;
}

bool tryCapacity(Engine& e, Trigger& trigger, std::uint64_t n) {
    if (n <= trigger.capacity) return true;
    if (n > maxElements || (n > trigger.ring.size() && !growRing(e, trigger, n))) return false;
    trigger.capacity = n;
    lookAtReaders(e, trigger);
    if (trigger.waitingWriter != nullptr) wakeWriter(e, trigger);
    return true;
}

void raiseCapacity(Engine& e, Pipe& pipe, std::uint64_t n) {
    if (!tryCapacity(e, pipe, n)) outOfMemory(e, "the pipe `" + pipe.name + "` of " + std::to_string(n) + " elements");
}

bool makeStorage(Engine& e, Pipe& pipe, std::uint64_t expected) {
    if (pipe.retains) return extendRetained(e, pipe, expected);
    return pipe.capacity <= maxElements && moveToRing(e, pipe, powerOfTwoFrom(pipe.capacity));
}

void takeElements(Engine& e, PipeEnd& end, void* to, std::uint64_t n) {
    end.channel->copyOut(end.taken, to, n);
    countTake(e, end, n);
}

void dropElements(Engine& e, PipeEnd& end, std::uint64_t n) { countTake(e, end, n); }

void putElements(Engine& e, PipeEnd& end, const void* from, std::uint64_t n) {
    Pipe& pipe = *end.channel;
    const auto* bytes = static_cast<const std::byte*>(from);
    while (n > 0) {
        if (pipe.written >= pipe.writableUntil && !waitForRoom(e, end)) {
            countDropped(e, end, n);
            return;
        }
        const std::uint64_t piece = std::min(n, pipe.writableUntil - pipe.written);
        pipe.copyIn(bytes, piece);
        bytes += piece << pipe.widthShift;
        n -= piece;
        countPut(e, end, piece);
    }
}

std::uint32_t takeEvent(Engine& e, TriggerEnd& end) {
    const std::uint32_t position = end.channel->eventAt(end.taken);
    end.seenStatus = position;
    countTake(e, end, 1);
    return position;
}

bool appendEvent(Engine& e, Trigger& trigger, std::uint32_t position) {
    if (trigger.written - trigger.slowest >= trigger.ring.size()) lookAtReaders(e, trigger);
    const std::uint64_t unread = trigger.written - trigger.slowest;
    if (unread >= trigger.ring.size() && !growRing(e, trigger, 2 * (unread + 1))) return false;
    trigger.ring[trigger.written & (trigger.ring.size() - 1)] = position;
    return true;
}

void advanceStatus(Engine& e, Trigger& trigger, std::uint32_t position) {
    if (static_cast<std::int32_t>(position - trigger.status) <= 0) return;
    trigger.status = position;
    ++trigger.statusMoves;
    if (trigger.dropping) return;
    e.lastChange = e.round;
    if (e.current != nullptr) e.current->signalTurn = e.turn;
}

void putEvent(Engine& e, TriggerEnd& end, std::uint32_t position) {
    Trigger& trigger = *end.channel;
    const bool read = trigger.written < trigger.writableUntil || waitForRoom(e, end);
    advanceStatus(e, trigger, position);
    if (!read) {
        countDropped(e, end, 1);
        return;
    }
    if (!appendEvent(e, trigger, position)) outOfMemory(e, "the trigger `" + trigger.name + "`");
    countPut(e, end, 1);
}

}  // namespace libzepl
