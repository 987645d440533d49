// What a run came to, in words: who waits for what, what continued by itself, what was left.
#pragma once

#include "runtime/engine/engine.h"

namespace libzepl {

// Adds the notes of the run, and the pipes that nobody writes, to its report.
void addNotes(const Engine& e, Report& report);

// The part of them on the rates that output files state.
void addRateNotes(const Engine& e, Report& report);

}  // namespace libzepl
