// What goes on by itself when the inputs have ended.
#pragma once

#include "runtime/engine/flow.h"
#include "runtime/engine/task_graph.h"

namespace libzepl {

// Whether the task has moved something after that turn, or pauses.
bool movedSince(const Task& task, std::uint64_t turn);

// In a run that has to be ended, what has moved something in the last rounds goes on by itself. What only polls, or writes
// where nobody reads, does not.
bool goesOnByItself(const Engine& e, const Task& task);

}  // namespace libzepl
