// What continues by itself: a generator that nobody limits, a loop that feeds itself, a task that polls. It is no reason for a
// run to continue when the inputs have ended.
#pragma once

#include "runtime/engine/engine.h"

namespace libzepl {

// Whether the task has moved something after that turn, or pauses.
bool movedSince(const Task& task, std::uint64_t turn);

// In a run that has to be ended, what has moved something in the last rounds sustains itself. What only polls, or writes where
// nobody reads, does not.
bool sustainsItself(const Engine& e, const Task& task);

// After so many rounds checkPatience() is due: often enough that a task writes little more than it may before it is found out.
std::uint64_t patienceRounds(const SessionOptions& options);

// Finds out who has written more than the patience since it last read anything; what such a task writes is input-driven no more.
// Ends the run where, since the last check, only such tasks and what depends on them have moved.
void checkPatience(Engine& e);

// Ends a run in which only what sustains itself still moves. An output without a limit that this leads to has a length that
// nobody asked for, so the run has failed.
void finishSelfSustaining(Engine& e);

}  // namespace libzepl
