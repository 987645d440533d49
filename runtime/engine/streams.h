// Streams on both sides of a run: it sleeps for live inputs once nothing more can be computed, and lets the readers of its
// outputs have what is written.
#pragma once

#include "runtime/engine/engine.h"

namespace libzepl {

// The run begins: outputs wait for whoever takes them, and after that inputs begin to read by themselves. Once for a run.
void startStreams(Engine& e);
void stopStreams(Engine& e);

// Sleeps until a live input has something, where only that is missing. Returns, too, when another thread has set a value, or
// a stop is requested; false when there is nothing to wait for.
bool awaitLiveInputs(Engine& e);

void flushStreams(Engine& e);
// The same, at most some times a second.
void flushStreamsInTime(Engine& e);

}  // namespace libzepl
