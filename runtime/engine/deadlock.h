// Deadlock resolution: a bounded channel must not stop a flow that an unbounded one would let run.
//
// The method is that of bounded scheduling of process networks (T. M. Parks, 1995): channels begin small; when a run stands
// still because a task waits for room, the smallest full channel that holds it up grows, and the run continues. When nothing
// moves, the tasks that found a channel empty, and the outputs that lack what they are to have, lead, from writer to writer, to
// one that waits on a full channel; the smallest of those is doubled. Where there is none, so is the smallest of a cycle of
// full channels, or of those that hold up the inputs' time until a pause ends.
#pragma once

#include "runtime/engine/engine.h"

namespace libzepl {

// Lets one channel grow. False when none stands in the way of anything. Ends the run when there is no memory for it.
bool resolveDeadlock(Engine& e);

}  // namespace libzepl
