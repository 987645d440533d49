// Inputs deliver at the end of a round.
#pragma once

#include "runtime/engine/engine.h"

namespace libzepl {

// Each input whose pipe no task read in this round delivers its next chunk, as far as there is room. Time moves with the one
// that is furthest on. False when nothing came. Throws a Problem when something cannot be read.
bool deliverInputs(Engine& e);

// Writes all input into the channels, before any task runs.
void deliverWhole(Engine& e);

// Whether deliverInputs() could find something to do, by the limits as updateRoom() found them.
bool inputCanDeliver(const Engine& e);
void updateRoom(Engine& e);

// Whether the pipe can take something from an input, by its limit as it was found last.
bool hasRoom(const Pipe& pipe);

// Whether each input has ended, or its channel is full, by the limits as updateInputLimits() found them.
bool inputsEndedOrHeld(const Engine& e);
void updateInputLimits(Engine& e);

}  // namespace libzepl
