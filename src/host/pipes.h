// Pipes: queues of elements of one type. All counts are in elements.
#pragma once

#include "codes.h"
#include "handles.h"

namespace zepl {

// Opens the pipe for reading or writing, before anything else is done with the handle. Never waits.
void pipe_open(PipeHandle pipe, OpenMode mode);

// The elements that can be read now. Never waits.
std::int32_t pipe_num(PipeHandle pipe);

// The elements that can be read now, at most `limit`; 0 when none. Never waits. The pipe grows to hold `limit`.
std::int32_t pipe_num_complete(PipeHandle pipe, std::int32_t limit);

// Removes `n` elements and drops them; waits until it has done so, taking what is there meanwhile.
void pipe_rem(PipeHandle pipe, std::int32_t n);

// Reads one element of the pipe's width into `*destination`; waits for it.
void pipe_value_get(PipeHandle pipe, void* destination);

// Appends the element at `*source`; waits while the pipe is full.
void pipe_value_put(PipeHandle pipe, const void* source);

// Reads one element of an integer pipe, sign-extended to 32 bits; waits for it. From a pipe of another type: its low 32
// bits.
std::int32_t pipe_get(PipeHandle pipe);

// Appends `value`, narrowed to the width of an integer pipe; waits while the pipe is full.
void pipe_put(PipeHandle pipe, std::int32_t value);

}  // namespace zepl
