// Outputs drain at the end of a round.
#pragma once

#include "runtime/engine/engine.h"

namespace libzepl {

// Each output takes what is there, up to its limit. Without inputs, time moves with the first that has a limit. Throws a
// Problem when something cannot be written.
void drainOutputs(Engine& e);

// The same in the context of a task, where each output has only a few elements to take and nothing depends on when they are
// written. False, with the others left to drainOutputs(), when one needs more than that.
bool drainSmallOutputs(Engine& e);

// Prepares the outputs for it, where what is written is not looked at before the run ends.
void allowSmallDrains(Engine& e);

// Writes what the outputs have taken so, at the end of a run; where something cannot be written, the run has failed.
void writeUnwritten(Engine& e);

// Closes the outputs of several pipes that hold up the writer of one of them and will never get more of another, when inputs
// have ended or are held up and nothing moves. False when there is none. So a table that is at its end cuts no other output.
bool closeShortOutputs(Engine& e);

}  // namespace libzepl
