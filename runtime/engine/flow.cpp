#include "runtime/engine/flow.h"

#include <limits>

#include "runtime/engine/task_graph.h"

namespace libzepl {

namespace {

constexpr std::uint64_t unlimited = std::numeric_limits<std::uint64_t>::max();

bool keepsAll(const Pipe& pipe) { return pipe.keepsAll; }
bool keepsAll(const Trigger&) { return false; }

template <class ChannelType>
void wakeWriter(Engine& e, ChannelType& channel) {
    Task& task = *channel.waitingWriter;
    channel.waitingWriter = nullptr;
    e.scheduler.pushReady(task);
}

template <class ChannelType>
std::string writerText(const ChannelType& channel) {
    return "`" + channel.name +
           "` has a writer already: " + (channel.inputWrites ? "its input" : channel.writer->task->label());
}

template <class PortType>
void refuseSecondWriter(Engine& e, PortType& port) {
    Task& task = *e.scheduler.current;
    task.outcome.index = port.position;
    const Task* writer = port.channel->inputWrites ? nullptr : port.channel->writer->task;
    const bool isOfArray = task.element > 0 && writer != nullptr && writer->element > 0 && writer->line == task.line;
    endCurrent(e, TaskReport::State::refused, writerText(*port.channel),
               isOfArray ? "the task of each index needs an output of its own: declare `" + port.channel->name +
                               "` as an array"
                         : "give each command's output a name of its own");
}

template <class PortType>
void waitAsOnFull(Engine& e, PortType& port) {
    port.channel->waitingWriter = port.task;
    port.task->state = TaskState::waitingForRoom;
    port.task->waitingAt = &port;
    switchAway(e);
}

}  // namespace

template <class ChannelType>
void updateWriteLimit(Engine& e, ChannelType& channel) {
    std::uint64_t until = unlimited;
    channel.readersAtTail = 1;
    channel.discarding = e.setUpDone && channel.readers.empty() && !keepsAll(channel);
    if (!e.setUpDone) {
        channel.tail = 0;  // whoever opens it yet begins at the first element
        until = channel.capacity;
    } else if (channel.readers.empty()) {
        channel.tail = channel.writePosition;
        if (channel.discarding) until = 0;
    } else {
        channel.tail = unlimited;
        for (const auto* reader : channel.readers) {
            if (reader->readPosition > channel.tail) continue;
            channel.readersAtTail = reader->readPosition == channel.tail ? channel.readersAtTail + 1 : 1;
            channel.tail = reader->readPosition;
        }
        until = channel.tail + channel.capacity;
    }
    channel.writeLimit = std::min(until, channel.storageLimit);
}

template <class ChannelType>
void notifyWriter(Engine& e, ChannelType& channel) {
    updateWriteLimit(e, channel);
    const bool canGoOn = channel.discarding || channel.writePosition < channel.writeLimit;
    if (channel.waitingWriter != nullptr && canGoOn) wakeWriter(e, channel);
}

template <class ChannelType>
void notifyReaders(Engine& e, ChannelType& channel) {
    if (channel.hasOutput) e.scheduler.serviceRequested = true;
    for (auto* reader : channel.readers) {
        if (reader->wanted == 0 || reader->available() < reader->wanted) continue;
        reader->wanted = 0;
        --channel.waitingReaders;
        e.scheduler.pushReady(*reader->task);
    }
    channel.notifyOnWrite = channel.hasOutput || channel.waitingReaders > 0;
}

template <class PortType>
void openPort(Engine& e, PortType& port, PortMode mode) {
    if (port.mode == mode) return;
    if (port.mode != PortMode::closed) misuse(e, "opens `" + port.channel->name + "` for reading and for writing");
    auto& channel = *port.channel;
    if (mode == PortMode::writing) {
        if (channel.inputWrites || channel.writer != nullptr) refuseSecondWriter(e, port);
        channel.writer = &port;
    } else {
        updateWriteLimit(e, channel);
        port.readPosition = port.openPosition = channel.tail;
        channel.readers.push_back(&port);
        if (port.task != nullptr) {
            ++port.task->readingPorts;
            channel.hadReader = true;
        }
        updateWriteLimit(e, channel);
        if (channel.waitingWriter != nullptr) wakeWriter(e, channel);
    }
    port.mode = mode;
    if (e.setUpDone && port.task != nullptr) joinCycles(e);
}

template <class PortType>
void closePort(Engine& e, PortType& port) {
    auto& channel = *port.channel;
    if (port.mode == PortMode::reading) {
        std::erase(channel.readers, &port);
        if (channel.waitingWriter != nullptr) wakeWriter(e, channel);
        updateWriteLimit(e, channel);
    }
    port.mode = PortMode::closed;
}

template <class PortType>
bool waitForRoom(Engine& e, PortType& port) {
    auto& channel = *port.channel;
    for (;;) {
        updateWriteLimit(e, channel);
        if (channel.discarding) return false;
        if (channel.writePosition < channel.writeLimit) return true;
        if (channel.writePosition >= channel.storageLimit) {
            if (!makeStorage(e.graph.memory, channel)) outOfMemory(e, "the pipe `" + channel.name + "`");
        } else {
            waitAsOnFull(e, port);
        }
    }
}

template <class PortType>
void discardWrite(Engine& e, PortType& port, const void* from, std::uint64_t n) {
    auto& channel = *port.channel;
    if (channel.isWatched) showDiscarded(e, channel, from, n);
    if (port.turn != e.scheduler.turn) {
        port.turn = e.scheduler.turn;
        port.turnStart = channel.writePosition;
    }
    channel.writePosition += n;
    channel.tail = channel.writePosition;
    if (channel.writePosition - port.turnStart < channel.capacity) return;
    // A pure source has nothing else to do; growth lets it continue if its other outputs need it.
    if (port.task->readingPorts == 0)
        waitAsOnFull(e, port);
    else
        yieldCurrent(e);
}

template <class ChannelType>
bool isInputDriven(const ChannelType& channel, const Task* reader) {
    if (channel.hasInitialElements) return false;
    if (channel.inputWrites) return true;
    if (channel.writer == nullptr) return false;
    const Task& writer = *channel.writer->task;
    if (writer.state == TaskState::ended) return true;  // what it left has an end, as an input has
    if (reader != nullptr && reader->drive == writer.drive) return false;
    if (isInputDriven(writer)) return true;
    return writer.readingPorts == 0 && reader != nullptr && reader->takesGenerators;
}

template <class PortType>
void markFirstRead(Engine& e, PortType& port) {
    port.turn = e.scheduler.turn;
    if (port.task == nullptr) return;
    port.inputDriven = isInputDriven(*port.channel, port.task);
    noteRead(e, *port.task, port.inputDriven);
}

bool isInputDriven(const Task& task) { return task.drive->turnsLeft > 0 && !task.outOfPatience; }

void noteRead(Engine& e, Task& task, bool driven) {
    task.readTurn = e.scheduler.turn;
    task.outOfPatience = false;
    task.pausedTicks = 0;
    Drive& drive = *task.drive;
    if (driven) {
        e.activity.noteDrivenRead(e.scheduler.round);
        drive.turnsLeft = drive.window;
    } else if (drive.turnsLeft > 0) {
        --drive.turnsLeft;
    }
}

std::uint32_t readStatus(Engine& e, TriggerPort& port) {
    const std::uint32_t status = port.channel->status;
    if (port.mode == PortMode::reading && status != port.seenStatus) {
        port.seenStatus = status;
        noteRead(e, *port.task, isInputDriven(*port.channel, port.task));
    }
    return status;
}

void readClock(Engine& e, Task& task) {
    task.followsClock = true;
    if (task.seenFrames == e.feed.furthestFrame) return;
    task.seenFrames = e.feed.furthestFrame;
    noteRead(e, task, true);
}

bool tryCapacity(Engine& e, Pipe& pipe, std::uint64_t n) {
    if (n <= pipe.capacity) return true;
    if (n > maxElements) return false;
    if (pipe.isWatched) showTaps(e, pipe);
    const bool ownRing = pipe.own != nullptr && !pipe.keepsAll;
    if (ownRing && n > pipe.mask + 1 && !moveToRing(e.graph.memory, pipe, powerOfTwoFrom(n))) return false;
    pipe.capacity = n;
    updateWriteLimit(e, pipe);
    if (pipe.waitingWriter != nullptr) wakeWriter(e, pipe);
    return true;
}

bool tryCapacity(Engine& e, Trigger& trigger, std::uint64_t n) {
    if (n <= trigger.capacity) return true;
    if (n > maxElements || (n > trigger.ring.size() && !growRing(e.graph.memory, trigger, n))) return false;
    trigger.capacity = n;
    updateWriteLimit(e, trigger);
    if (trigger.waitingWriter != nullptr) wakeWriter(e, trigger);
    return true;
}

void raiseCapacity(Engine& e, Pipe& pipe, std::uint64_t n) {
    if (!tryCapacity(e, pipe, n)) outOfMemory(e, "the pipe `" + pipe.name + "` of " + std::to_string(n) + " elements");
}

void readElements(Engine& e, PipePort& port, void* to, std::uint64_t n) {
    port.channel->copyOut(port.readPosition, to, n);
    commitRead(e, port, n);
}

void skipElements(Engine& e, PipePort& port, std::uint64_t n) { commitRead(e, port, n); }

void writeElements(Engine& e, PipePort& port, const void* from, std::uint64_t n) {
    Pipe& pipe = *port.channel;
    const auto* bytes = static_cast<const std::byte*>(from);
    while (n > 0) {
        if (pipe.writePosition >= pipe.writeLimit && !waitForRoom(e, port)) {
            discardWrite(e, port, bytes, n);
            return;
        }
        const std::uint64_t piece = std::min(n, pipe.writeLimit - pipe.writePosition);
        pipe.copyIn(bytes, piece);
        bytes += piece << pipe.widthShift;
        n -= piece;
        commitWrite(e, port, piece);
    }
}

std::uint32_t readEvent(Engine& e, TriggerPort& port) {
    const std::uint32_t position = port.channel->eventAt(port.readPosition);
    port.seenStatus = position;
    commitRead(e, port, 1);
    return position;
}

bool appendEvent(Engine& e, Trigger& trigger, std::uint32_t position) {
    if (trigger.writePosition - trigger.tail >= trigger.ring.size()) updateWriteLimit(e, trigger);
    const std::uint64_t unread = trigger.writePosition - trigger.tail;
    if (unread >= trigger.ring.size() && !growRing(e.graph.memory, trigger, 2 * (unread + 1))) return false;
    trigger.ring[trigger.writePosition & (trigger.ring.size() - 1)] = position;
    return true;
}

void advanceStatus(Engine& e, Trigger& trigger, std::uint32_t position) {
    if (static_cast<std::int32_t>(position - trigger.status) <= 0) return;
    trigger.status = position;
    ++trigger.statusMoves;
    if (trigger.discarding) return;
    e.activity.noteChange(e.scheduler.round);
    if (e.scheduler.current != nullptr) e.scheduler.current->signalTurn = e.scheduler.turn;
}

void writeEvent(Engine& e, TriggerPort& port, std::uint32_t position) {
    Trigger& trigger = *port.channel;
    const bool read = trigger.writePosition < trigger.writeLimit || waitForRoom(e, port);
    advanceStatus(e, trigger, position);
    if (!read) {
        discardWrite(e, port, &position, 1);
        return;
    }
    if (!appendEvent(e, trigger, position)) outOfMemory(e, "the trigger `" + trigger.name + "`");
    commitWrite(e, port, 1);
}

template void openPort(Engine&, PipePort&, PortMode);
template void openPort(Engine&, TriggerPort&, PortMode);
template void closePort(Engine&, PipePort&);
template void closePort(Engine&, TriggerPort&);
template void updateWriteLimit(Engine&, Pipe&);
template void updateWriteLimit(Engine&, Trigger&);
template bool waitForRoom(Engine&, PipePort&);
template bool waitForRoom(Engine&, TriggerPort&);
template void discardWrite(Engine&, PipePort&, const void*, std::uint64_t);
template void discardWrite(Engine&, TriggerPort&, const void*, std::uint64_t);
template void notifyReaders(Engine&, Pipe&);
template void notifyReaders(Engine&, Trigger&);
template void notifyWriter(Engine&, Pipe&);
template void notifyWriter(Engine&, Trigger&);
template void markFirstRead(Engine&, PipePort&);
template void markFirstRead(Engine&, TriggerPort&);
template bool isInputDriven(const Pipe&, const Task*);
template bool isInputDriven(const Trigger&, const Task*);

}  // namespace libzepl
