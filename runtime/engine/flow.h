// How elements and events move: waiting for them, waiting for room, and the bookkeeping of puts and takes, the same for
// pipes and triggers. The common case of each is a few instructions in line; the rest is in flow.cpp.
#pragma once

#include <algorithm>

#include "runtime/engine/engine.h"

namespace libzepl {

// How many rounds must be quiet before the hub concludes something from it.
inline constexpr std::uint64_t quietRounds = 8;
// For how many rounds tasks may go on without taking anything that inputs drive.
inline constexpr std::uint64_t recentRounds = 65536;
// The most elements or events that anything is asked to hold: more than any memory does, and few enough to be multiplied.
inline constexpr std::uint64_t maxElements = std::uint64_t{1} << 56;
// How many pauses may end without a look whether the run is to stop.
inline constexpr std::uint32_t mostJumps = 4096;
// The least capacity of a trigger: events unread by the slowest reader.
inline constexpr std::uint64_t triggerCapacity = 4096;

// Opens an end of the current task (or of an output, which has none). A second writer is refused.
void openEnd(Engine& e, PipeEnd& end, EndMode mode);
void openEnd(Engine& e, TriggerEnd& end, EndMode mode);

// Lets go of a channel.
void closeEnd(Engine& e, PipeEnd& end);
void closeEnd(Engine& e, TriggerEnd& end);

// Brings `slowest`, `dropping` and `writableUntil` up to date.
void lookAtReaders(Engine& e, Pipe& pipe);
void lookAtReaders(Engine& e, Trigger& trigger);

// Waits until `n` are there for the end.
void waitForElements(Engine& e, PipeEnd& end, std::uint64_t n);
void waitForElements(Engine& e, TriggerEnd& end, std::uint64_t n);

// Waits until the channel takes more; false when nobody reads it.
bool waitForRoom(Engine& e, PipeEnd& end);
bool waitForRoom(Engine& e, TriggerEnd& end);

// `n` more were put where nobody reads. Ends the turn once a capacity was put.
void countDropped(Engine& e, PipeEnd& end, std::uint64_t n);
void countDropped(Engine& e, TriggerEnd& end, std::uint64_t n);

// Makes the channel hold at least `n`; the task ends when there is no memory for it.
void raiseCapacity(Engine& e, Pipe& pipe, std::uint64_t n);
// The same for the hub: false, with nothing changed, when there is no memory for it.
bool tryCapacity(Engine& e, Pipe& pipe, std::uint64_t n);
bool tryCapacity(Engine& e, Trigger& trigger, std::uint64_t n);
// Makes room in the storage of a pipe whose storage is full or not there yet: for its capacity, or, where it keeps all that
// is written, for at least `expected` elements in all. False when there is no memory for it.
bool makeStorage(Engine& e, Pipe& pipe, std::uint64_t expected = 0);

// What comes behind a put or a take, where somebody waits for it.
void notifyReaders(Engine& e, Pipe& pipe);
void notifyReaders(Engine& e, Trigger& trigger);
void notifyWriter(Engine& e, Pipe& pipe);
void notifyWriter(Engine& e, Trigger& trigger);

// The end takes something for the first time in this turn: notes whether inputs drive it.
void beginTakingTurn(Engine& e, PipeEnd& end);
void beginTakingTurn(Engine& e, TriggerEnd& end);

// What an input writes is input-driven, and so is what a task writes that lately took such: there is work left that the
// inputs brought, and the run goes on. What a task takes out of a cycle that it stands on is not, since a cycle can go on by
// itself, and neither is what a task writes that has put more than the session's patience since it last took anything.
bool isDriven(const Task& task);
bool isDriven(const Pipe& pipe, const Task* reader);  // no reader is an output
bool isDriven(const Trigger& trigger, const Task* reader);

// The task takes something. Called once in a turn for what is taken there.
void noteTake(Engine& e, Task& task, bool driven);

// The status, as a task looks at it. One that has moved since it last looked is something taken.
std::uint32_t takeStatus(Engine& e, TriggerEnd& end);

// The task looks at the sampling clock. Frames that inputs have given since it last looked are something taken.
void takeClock(Engine& e, Task& task);

// The end found less than it asked for.
template <class EndType>
void noteShort(Engine& e, EndType& end) {
    end.shortRound = e.round;
}

// Whether a waiting writer may find room, since the last of the slowest readers has gone on from `before`. So a take costs the
// same however many readers there are.
template <class ChannelType>
bool leavesSlowest(ChannelType& channel, std::uint64_t before) {
    return before == channel.slowest && --channel.atSlowest == 0;
}

template <class EndType>
void countTake(Engine& e, EndType& end, std::uint64_t n) {
    auto& channel = *end.channel;
    end.taken += n;
    e.lastChange = e.round;
    channel.takenRound = e.round;
    if (end.turn != e.turn) beginTakingTurn(e, end);
    if (channel.waitingWriter != nullptr && leavesSlowest(channel, end.taken - n)) notifyWriter(e, channel);
}

// Behind a put of `n`, which the channel has room for. A task that put a whole capacity since it was resumed yields, so
// that none can keep the thread.
template <class EndType>
void countPut(Engine& e, EndType& end, std::uint64_t n) {
    auto& channel = *end.channel;
    channel.written += n;
    e.lastChange = e.round;
    if (channel.watched) notifyReaders(e, channel);
    if (end.turn != e.turn) {
        end.turn = e.turn;
        end.turnStart = channel.written - n;
    }
    if (channel.written - end.turnStart >= channel.capacity) e.yieldCurrent();
}

// The transfers themselves.
void takeElements(Engine& e, PipeEnd& end, void* to, std::uint64_t n);  // `n` are there
void dropElements(Engine& e, PipeEnd& end, std::uint64_t n);            // `n` are there
void putElements(Engine& e, PipeEnd& end, const void* from, std::uint64_t n);
std::uint32_t takeEvent(Engine& e, TriggerEnd& end);  // one is there
void putEvent(Engine& e, TriggerEnd& end, std::uint32_t position);

// Whether an input can give something to the pipe.
bool hasRoom(Engine& e, Pipe& pipe);

// Adds an event without waiting, for inputs; the trigger has room. False when there is no memory for it.
bool appendEvent(Engine& e, Trigger& trigger, std::uint32_t position);
// Moves the status forward; one that is not ahead is ignored.
void advanceStatus(Engine& e, Trigger& trigger, std::uint32_t position);

}  // namespace libzepl
