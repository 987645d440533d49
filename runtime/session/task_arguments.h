// Arguments of a task as the caller gives them, made into the parameters that its command reads.
#pragma once

#include "runtime/engine/engine.h"

namespace libzepl {

// A Problem where an argument is not what its kind says, or names what the session does not have.
void checkArguments(Engine& e, const TaskSettings& settings);

// Adds the parameters, with their slots, to a task that has none. The arguments have passed checkArguments.
void makeParameters(Engine& e, Task& task, const std::vector<TaskArgument>& arguments);

}  // namespace libzepl
