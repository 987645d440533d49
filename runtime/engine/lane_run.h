// The run of a session in lanes.
#pragma once

#include "runtime/engine/engine.h"
#include "runtime/engine/partition.h"

namespace libzepl {

// Whether its parts can run apart, as far as that can be seen before it begins.
bool canRunInLanes(Engine& e);

// Runs the session, which is prepared, up to the end of its last round. False where the attempt is void. What the caller's
// progress throws comes out here.
bool runLanes(Engine& e, Partition& partition);

}  // namespace libzepl
