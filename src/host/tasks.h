// Tasks are cooperative: one loses the processor only here and in calls that can wait.
#pragma once

#include <cstdint>

namespace zepl {

// Lets the other tasks run and comes back later.
void task_switch();

// Gives up the processor for `ticks` milliseconds of the session's clock.
void task_pause(std::uint32_t ticks);

// Ends the calling task with a code that is in the report.
[[noreturn]] void exit(std::uint32_t code);

// Ends the run after a fatal fault of a module's start-up. It comes back only to a caller that is no task, which must then
// return at once.
void terminate_msg();

}  // namespace zepl
