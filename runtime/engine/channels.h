// Pipes and triggers as the session keeps them. Positions of elements and events are 64-bit running counts.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "runtime/base/memory.h"
#include "runtime/element_type.h"

namespace libzepl {

struct Task;
struct PipePort;
struct TriggerPort;

enum class PortMode : std::uint8_t { closed, reading, writing };

// What pipes and triggers share. One task or one input writes; what readers have not read yet is held, up to the capacity.
template <class PortType>
struct Channel {
    std::string name;
    std::uint64_t capacity = 0;       // the most that is held for the slowest reader
    std::uint64_t writePosition = 0;  // elements or events written so far
    std::uint64_t tail = 0;  // at most where the slowest reader is; brought up to date when the channel looks full
    std::uint64_t readersAtTail = 1;  // readers that are there; right while a writer waits
    std::uint64_t writeLimit = 0;     // `writePosition` can go up to here without a look at readers and storage
    std::uint64_t storageLimit = 0;   // the storage takes elements up to here
    std::uint64_t readRound = 0;      // the last round in which a reader read something
    std::vector<PortType*> readers;   // open ports of tasks, and of an output that drains at the end of a round
    PortType* writer = nullptr;       // the open port that writes, also after its task has ended
    Task* waitingWriter = nullptr;    // the task that waits for room
    std::uint32_t waitingReaders = 0;
    bool inputWrites = false;         // an input file or memory is its writer
    bool notifyOnWrite = false;       // after a write, waiting readers and outputs must be looked at
    bool hasOutput = false;           // an output drains it at the end of a round
    bool hasOwnOutput = false;        // one that takes nothing else
    bool hadReader = false;           // a task has read it, though it may have ended since
    bool hasInitialElements = false;  // elements were there before anything ran
    bool isWatched = false;           // a tap was attached to it
    bool discarding = false;          // nobody reads it, and all set-ups have run
};

struct Pipe : Channel<PipePort> {
    ElementType type = ElementType::int16;
    unsigned widthShift = 1;       // log2 of the element's bytes
    std::byte* storage = nullptr;  // element `n` is at index n & mask
    std::uint64_t mask = 0;
    AlignedBytes own;            // the storage, where it is the pipe's own
    std::uint64_t ownBytes = 0;  // as counted against the session's memory
    bool keepsAll = false;       // unbounded storage: keeps all that was written, for a session that collects it

    // Copies `n` elements at the running count `from` out of or into the storage.
    void copyOut(std::uint64_t from, void* to, std::uint64_t n) const {
        auto* bytes = static_cast<std::byte*>(to);
        const std::uint64_t index = from & mask, first = std::min(n, mask - index + 1);
        std::memcpy(bytes, storage + (index << widthShift), first << widthShift);
        if (first < n) std::memcpy(bytes + (first << widthShift), storage, (n - first) << widthShift);
    }
    void copyIn(const void* from, std::uint64_t n) {
        const auto* bytes = static_cast<const std::byte*>(from);
        const std::uint64_t index = writePosition & mask, first = std::min(n, mask - index + 1);
        std::memcpy(storage + (index << widthShift), bytes, first << widthShift);
        if (first < n) std::memcpy(storage, bytes + (first << widthShift), (n - first) << widthShift);
    }
    // One element; the constant sizes make these single moves.
    void copyOneOut(std::uint64_t from, void* to) const {
        const std::byte* place = storage + ((from & mask) << widthShift);
        if (widthShift == 1)
            std::memcpy(to, place, 2);
        else if (widthShift == 2)
            std::memcpy(to, place, 4);
        else
            std::memcpy(to, place, 8);
    }
    void copyOneIn(const void* from) {
        std::byte* place = storage + ((writePosition & mask) << widthShift);
        if (widthShift == 1)
            std::memcpy(place, from, 2);
        else if (widthShift == 2)
            std::memcpy(place, from, 4);
        else
            std::memcpy(place, from, 8);
    }
};

struct Trigger : Channel<TriggerPort> {
    std::uint32_t status = 0xFFFFFFFF;  // before sample 0
    std::uint64_t statusMoves = 0;
    std::uint32_t mode = 0;  // what trigger_get_opmode answers
    std::map<std::uint32_t, std::uint32_t> properties;
    std::vector<std::uint32_t> ring;  // event `n` is at index n & (size - 1), the size being a power of two
    Charge ringCharge;

    std::uint32_t eventAt(std::uint64_t n) const { return ring[n & (ring.size() - 1)]; }
};

// One parameter's use of a channel: a handle stands for it. An output has one as well, with no task.
template <class ChannelType>
struct Port {
    ChannelType* channel = nullptr;
    Task* task = nullptr;
    std::int32_t position = 0;  // of the parameter
    PortMode mode = PortMode::closed;
    std::uint64_t readPosition = 0;   // the running count of the next element or event to read
    std::uint64_t openPosition = 0;   // `readPosition` when it was opened
    std::uint64_t wanted = 0;         // elements or events that the task waits for; 0 when it does not wait here
    std::uint64_t turn = 0;           // the last turn in which something was moved
    std::uint64_t turnStart = 0;      // of a writer: the write position before that turn
    std::uint64_t fastPathTurn = 0;   // the turn in which values go by the fast path
    std::uint64_t fastPathLimit = 0;  // of a writer: up to what write position, in that turn
    bool inputDriven = false;         // of a reader: what it read in its last turn was input-driven
    std::uint64_t underrunRound = 0;  // the last round in which less was there than the task asked for

    std::uint64_t available() const { return channel->writePosition - readPosition; }
};

struct PipePort : Port<Pipe> {};
struct TriggerPort : Port<Trigger> {
    std::uint32_t seenStatus = 0xFFFFFFFF;  // of a reader: the last that it knows
};

struct Pbuf {
    PipePort* port = nullptr;
    void* data = nullptr;
    std::int32_t count = 0;
    std::int32_t minimum = 1;
    std::int32_t maximum = 0;
};

inline const std::string& channelName(const Pipe& pipe) { return pipe.name; }

}  // namespace libzepl
