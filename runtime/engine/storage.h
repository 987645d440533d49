// The storage of channels: rings that are a power of two long, or, of a pipe that keeps all, one piece that grows.
#pragma once

#include "runtime/engine/channels.h"

namespace libzepl {

// The most elements or events that anything is asked to hold: more than any memory does, and few enough to be multiplied.
inline constexpr std::uint64_t maxElements = std::uint64_t{1} << 56;

std::uint64_t powerOfTwoFrom(std::uint64_t n);

// Each gives the channel storage, with what it held, or returns false, with nothing changed, when there is no memory for it.

// A ring of at least `events`.
bool growRing(MemoryBudget& memory, Trigger& trigger, std::uint64_t events);

// A ring of `elements`, a power of two.
bool moveToRing(MemoryBudget& memory, Pipe& pipe, std::uint64_t elements);

// For a channel whose storage is full or not there yet: room for its capacity, or, where a pipe keeps all that is written, for
// at least `expected` elements in all. A trigger's storage grows with its capacity.
bool makeStorage(MemoryBudget& memory, Pipe& pipe, std::uint64_t expected = 0);
bool makeStorage(MemoryBudget& memory, Trigger& trigger);

}  // namespace libzepl
