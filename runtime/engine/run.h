// A run from its first task to the end of its outputs.
#pragma once

#include "runtime/engine/engine.h"

namespace libzepl {

// Sets the clock to its start: from then on a snapshot has the run's rate.
void setClock(Engine& e);

// Runs the session on this thread. What became of it is in the engine's parts; tasks keep what they have open, for who
// reports it. What the caller's progress or console threw comes out here, unless it was a Problem.
void runSession(Engine& e);
// The same by up to `jobs` engines, a thread each, where parts of the session share nothing and nothing ties them. False where
// something did after all: then nothing of the run is published, and the session is of no use any more.
bool runSession(Engine& e, unsigned jobs);

}  // namespace libzepl
