// Outputs drain at the end of a round.
#pragma once

#include "runtime/engine/engine.h"

namespace libzepl {

// Each output takes what is there, up to its limit. Without inputs, time moves with the first that has a limit. Throws a
// Problem when something cannot be written.
void drainOutputs(Engine& e);

}  // namespace libzepl
