// Who leads to whom: the tasks, joined by the channels that one writes and another reads. Known once every task has run.
#pragma once

#include <vector>

#include "runtime/engine/engine.h"

namespace libzepl {

// By the order of the tasks.
using TaskSet = std::vector<bool>;

// With all tasks that take, at first or second hand, what these write; or from whose writing these take.
TaskSet withAllAfter(const Engine& e, TaskSet tasks);
TaskSet withAllBefore(const Engine& e, TaskSet tasks);

// The tasks whose work comes from an input, at first or second hand: by its channel, or by the clock that moves with it. One
// that has ended gives nothing more, just as an input that has ended, and counts as one.
TaskSet tasksOnInputs(const Engine& e);

// Notes for which tasks generators continue: for the outputs alone that lack something yet; beside inputs, for those that depend
// on no input.
void findGeneratorReaders(Engine& e);

// Lets the tasks of each cycle share a Drive. Once more when a channel is opened later.
void joinCycles(Engine& e);

}  // namespace libzepl
