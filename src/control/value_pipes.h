// Single values of pipes, for commands that answer each value at once and so use no blocks.
#pragma once

#include "frame/types.h"
#include "host/pipes.h"
#include "host/tasks.h"

namespace zcmds {

// The next value of the pipe; waits for it.
template <class Element>
Element takeValue(PipeHandle pipe) {
    Element value;
    zepl::pipe_value_get(pipe, &value);
    return value;
}

// Waits while the pipe is full.
template <class Element>
void sendValue(PipeHandle pipe, Element value) {
    zepl::pipe_value_put(pipe, &value);
}

// Polls, so that nothing is taken, until the pipe holds a value.
inline void awaitValue(PipeHandle pipe) {
    while (zepl::pipe_num(pipe) == 0) zepl::task_switch();
}

}  // namespace zcmds
