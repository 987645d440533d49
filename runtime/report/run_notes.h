// What a run came to, in words: who waits for what, what continued by itself, what was left.
#pragma once

#include "runtime/engine/engine.h"

namespace libzepl {

// Adds the notes of the run, and the pipes that nobody writes, to its report.
void addNotes(const Engine& e, Report& report);

// "waits for 1024 samples of `accel`, 112 are there", of a task that waits for elements, an event or room.
std::string waitText(const Task& task);

// The part of them on the rates that output files state.
void addRateNotes(const Engine& e, Report& report);

}  // namespace libzepl
