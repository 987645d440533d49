// Turns of a task in which nothing else of the run moves, done at once: rounds, notes and positions are afterwards what they would be
// after one turn at a time.
#pragma once

#include <span>

#include "runtime/engine/engine.h"

namespace libzepl {

// How many turns, at most `most`, the current task can begin now in which it takes an element from each of `from`, writes one to
// `to` and yields, with nothing for the dispatcher, another task or an input to do at the end of any; what is taken and
// written is in one piece of each storage.
std::uint64_t turnsAlone(Engine& e, std::span<PipePort* const> from, const PipePort& to, std::uint64_t most);

// It has had that many of them; the elements are written.
void passTurns(Engine& e, std::span<PipePort* const> from, PipePort& to, std::uint64_t turns);

}  // namespace libzepl
