// The dispatcher: it resumes tasks round by round, and does between the rounds what the run needs.
//
// At the end of a round outputs drain, inputs deliver, pauses that are due end, and, where nothing moved for some rounds, a
// deadlock is resolved or the run ends. Whatever changes a session from outside, such as a live input that has something or a
// request to stop, takes effect here, so that a run depends on nothing but what came in which round.
#pragma once

#include "runtime/engine/engine.h"

namespace libzepl {

// Runs the session's tasks to the end of the run.
void runRounds(Engine& e);

// Draws the conclusions from what did not happen for some rounds: a channel grows, time jumps, or the run ends.
void drawConclusions(Engine& e);

// Closes what an ended task has open, and gives back what it took of the machine. What it wrote stays readable.
void releaseTask(Engine& e, Task& task);

}  // namespace libzepl
