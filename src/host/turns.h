// Turns of a task that works value by value, several at once. A host need not have these operations: a module looks them up at
// its start-up (ModuleProcAddressGet), does not link to them, and works value by value where they are missing.
#pragma once

#include <cstdint>

#include "handles.h"

namespace zepl {

// How many of the coming turns, at most `most`, can do nothing else than to take one value from each of the `count` pipes, append
// one to `to`, and switch, since nothing else of the run moves until they are over: no task is ready, no input has anything
// to give but to these pipes, and there are values and room. 0 where that is not so. All pipes are open, and different ones.
// `values` is given where the next values of each pipe are, and `results` where those of `to` belong, each in one piece.
std::int32_t turns_alone(const PipeHandle* from, std::int32_t count, PipeHandle to, std::int32_t most,
                         const void** values, void** results);

// The task has had `n` of them: the values are taken, the results, which are in their place, appended, and the task has
// switched after each. Called before any other operation.
void turns_done(const PipeHandle* from, std::int32_t count, PipeHandle to, std::int32_t n);

}  // namespace zepl
