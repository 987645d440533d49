#include "runtime/engine/storage.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <utility>

namespace libzepl {

namespace {

constexpr std::uint64_t unlimited = std::numeric_limits<std::uint64_t>::max();

// Doubles the storage of a pipe that keeps everything, or makes it `expected` elements where that is more.
bool extendRetained(MemoryBudget& memory, Pipe& pipe, std::uint64_t expected) {
    const std::uint64_t elements = std::max({pipe.storageLimit * 2, expected, pipe.capacity, std::uint64_t{4096}});
    if (elements > maxElements) return false;
    const std::uint64_t bytes = elements << pipe.widthShift;
    if (!memory.reserve(bytes - pipe.ownBytes)) return false;
    auto* grown = static_cast<std::byte*>(std::realloc(pipe.own.get(), bytes));
    if (grown == nullptr) {
        memory.release(bytes - pipe.ownBytes);
        return false;
    }
    preferLargePages(grown + pipe.ownBytes, bytes - pipe.ownBytes);
    static_cast<void>(pipe.own.release());
    pipe.own.reset(grown);
    pipe.ownBytes = bytes;
    pipe.storage = grown;
    pipe.storageLimit = elements;
    pipe.mask = unlimited >> 1;
    return true;
}

}  // namespace

std::uint64_t powerOfTwoFrom(std::uint64_t n) {
    std::uint64_t size = 1;
    while (size < n) size *= 2;
    return size;
}

bool growRing(MemoryBudget& memory, Trigger& trigger, std::uint64_t events) {
    if (events > (unlimited >> 8)) return false;
    const std::uint64_t size = powerOfTwoFrom(events);
    Charge charge;
    if (!charge.reserve(memory, costOf(size * sizeof(std::uint32_t)))) return false;
    std::vector<std::uint32_t> larger(size);
    for (std::uint64_t n = trigger.tail; n < trigger.writePosition; ++n) larger[n & (size - 1)] = trigger.eventAt(n);
    trigger.ring = std::move(larger);
    trigger.ringCharge = std::move(charge);
    return true;
}

bool moveToRing(MemoryBudget& memory, Pipe& pipe, std::uint64_t elements) {
    const std::uint64_t bytes = elements << pipe.widthShift;
    if (!memory.reserve(bytes)) return false;
    AlignedBytes ring = allocateUnset(bytes);
    if (ring == nullptr) {
        memory.release(bytes);
        return false;
    }
    for (std::uint64_t at = pipe.tail; at < pipe.writePosition;) {
        const std::uint64_t to = at & (elements - 1);
        const std::uint64_t n = std::min(pipe.writePosition - at, elements - to);
        pipe.copyOut(at, ring.get() + (to << pipe.widthShift), n);
        at += n;
    }
    memory.release(pipe.ownBytes);
    pipe.own = std::move(ring);
    pipe.ownBytes = bytes;
    pipe.storage = pipe.own.get();
    pipe.mask = elements - 1;
    pipe.storageLimit = unlimited;
    return true;
}

bool makeStorage(MemoryBudget& memory, Pipe& pipe, std::uint64_t expected) {
    if (pipe.keepsAll) return extendRetained(memory, pipe, expected);
    return pipe.capacity <= maxElements && moveToRing(memory, pipe, powerOfTwoFrom(pipe.capacity));
}

bool makeStorage(MemoryBudget&, Trigger&) { return true; }

}  // namespace libzepl
