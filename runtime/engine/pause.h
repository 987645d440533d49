// A run that another thread holds for a while.
#pragma once

namespace libzepl {

struct Engine;

// While the run is paused, sleeps and serves what other threads ask for. Rounds do not pass meanwhile, so that results are those
// of a run that is not held. Returns, too, when a stop is requested.
void holdWhilePaused(Engine& e);

}  // namespace libzepl
