// Outputs drain at the end of a round.
#pragma once

#include "runtime/engine/engine.h"

namespace libzepl {

// Each output takes what is there, up to its limit. Without inputs, time moves with the first that has a limit. Throws a
// Problem when something cannot be written.
void drainOutputs(Engine& e);

// Closes the outputs of several pipes that hold up the writer of one of them and will never get more of another, when inputs
// have ended or are held up and nothing moves. False when there is none. So a table that is at its end cuts no other output.
bool closeShortOutputs(Engine& e);

}  // namespace libzepl
