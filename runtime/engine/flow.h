// How elements and events move between tasks: waiting for them, waiting for room (back-pressure), and the bookkeeping of reads
// and writes, the same for pipes and triggers. The common case of each is a few instructions in line; the rest is in flow.cpp,
// where the templates are instantiated for both kinds of ports and channels.
#pragma once

#include <algorithm>
#include <type_traits>

#include "runtime/engine/engine.h"
#include "runtime/engine/storage.h"

namespace libzepl {

// The least capacity of a trigger: events unread by the slowest reader.
inline constexpr std::uint64_t triggerCapacity = 4096;

// Opens a port of the current task (or of an output, which has none). A second writer is refused.
template <class PortType>
void openPort(Engine& e, PortType& port, PortMode mode);

// Lets go of the channel.
template <class PortType>
void closePort(Engine& e, PortType& port);

// Brings the channel's tail, its write limit, and whether it discards what is written up to date.
template <class ChannelType>
void updateWriteLimit(Engine& e, ChannelType& channel);

// Waits until the channel takes more; false when nobody reads it.
template <class PortType>
bool waitForRoom(Engine& e, PortType& port);

// Counts `n` more that were written where nobody reads, and shows them to taps. Ends the turn once a capacity was written.
template <class PortType>
void discardWrite(Engine& e, PortType& port, const void* from, std::uint64_t n);

// Makes the channel hold at least `n`; the task ends when there is no memory for it.
void raiseCapacity(Engine& e, Pipe& pipe, std::uint64_t n);
// The same for the dispatcher: false, with nothing changed, when there is no memory for it.
bool tryCapacity(Engine& e, Pipe& pipe, std::uint64_t n);
bool tryCapacity(Engine& e, Trigger& trigger, std::uint64_t n);

// What comes after a write or a read, where somebody waits for it.
template <class ChannelType>
void notifyReaders(Engine& e, ChannelType& channel);
template <class ChannelType>
void notifyWriter(Engine& e, ChannelType& channel);

// The port reads for the first time in this turn: notes whether inputs drive what it reads.
template <class PortType>
void markFirstRead(Engine& e, PortType& port);

// What an input writes is input-driven, and so is what a task writes that lately read such: there is work left that the
// inputs brought, and the run continues. What a task reads out of a cycle that it belongs to is not, since a cycle can continue by
// itself, and neither is what a task writes that has written more than the session's patience since it last read anything.
bool isInputDriven(const Task& task);
template <class ChannelType>
bool isInputDriven(const ChannelType& channel, const Task* reader);  // no reader is an output

// The task reads something. Called once in a turn for what is read there.
void noteRead(Engine& e, Task& task, bool inputDriven);

// The status, as a task looks at it. One that has moved since it last looked counts as something read.
std::uint32_t readStatus(Engine& e, TriggerPort& port);

// The task looks at the sampling clock. Frames that inputs have given since it last looked count as something read.
void readClock(Engine& e, Task& task);

// The port found less than it asked for.
template <class PortType>
void noteUnderrun(Engine& e, PortType& port) {
    port.underrunRound = e.scheduler.round;
}

// Waits until `n` are there for the port. In line: a task that is resumed returns through all the calls that led to the
// switch, and each of these returns is one that the processor cannot foresee.
template <class PortType>
[[gnu::always_inline]] inline void waitForElements(Engine& e, PortType& port, std::uint64_t n) {
    constexpr bool isPipe = std::is_same_v<PortType, PipePort>;
    if constexpr (isPipe)
        if (n > port.channel->capacity) raiseCapacity(e, *port.channel, n);
    Task& task = *port.task;
    while (port.available() < n) {
        noteUnderrun(e, port);
        port.wanted = n;
        ++port.channel->waitingReaders;
        port.channel->notifyOnWrite = true;
        task.state = isPipe ? TaskState::waitingForElements : TaskState::waitingForEvent;
        task.waitingAt = &port;
        switchAway(e);
    }
}

// Whether a waiting writer may find room, since the last of the readers at the tail has gone on from `before`. So a read costs
// the same however many readers there are.
template <class ChannelType>
bool leavesTail(ChannelType& channel, std::uint64_t before) {
    return before == channel.tail && --channel.readersAtTail == 0;
}

template <class PortType>
void commitRead(Engine& e, PortType& port, std::uint64_t n) {
    auto& channel = *port.channel;
    port.readPosition += n;
    e.activity.noteChange(e.scheduler.round);
    channel.readRound = e.scheduler.round;
    if (port.turn != e.scheduler.turn) markFirstRead(e, port);
    if (channel.waitingWriter != nullptr && leavesTail(channel, port.readPosition - n)) notifyWriter(e, channel);
}

// After a write of `n`, which the channel had room for. A task that wrote a whole capacity since it was resumed yields, so
// that none can keep the thread.
template <class PortType>
void commitWrite(Engine& e, PortType& port, std::uint64_t n) {
    auto& channel = *port.channel;
    channel.writePosition += n;
    e.activity.noteChange(e.scheduler.round);
    if (channel.notifyOnWrite) notifyReaders(e, channel);
    if (port.turn != e.scheduler.turn) {
        port.turn = e.scheduler.turn;
        port.turnStart = channel.writePosition - n;
    }
    if (channel.writePosition - port.turnStart >= channel.capacity) yieldCurrent(e);
}

// The transfers themselves.
void readElements(Engine& e, PipePort& port, void* to, std::uint64_t n);  // `n` are there
void skipElements(Engine& e, PipePort& port, std::uint64_t n);            // `n` are there
void writeElements(Engine& e, PipePort& port, const void* from, std::uint64_t n);
std::uint32_t readEvent(Engine& e, TriggerPort& port);  // one is there
void writeEvent(Engine& e, TriggerPort& port, std::uint32_t position);

// Adds an event without waiting, for inputs; the trigger has room. False when there is no memory for it.
bool appendEvent(Engine& e, Trigger& trigger, std::uint32_t position);
// Moves the status forward; one that is not ahead is ignored.
void advanceStatus(Engine& e, Trigger& trigger, std::uint32_t position);

}  // namespace libzepl
