// How a running session stands.
#pragma once

#include "runtime/engine/engine.h"
#include "runtime/live.h"

namespace libzepl {

// On the session's thread between two rounds, or while nothing runs.
Snapshot makeSnapshot(const Engine& e);

}  // namespace libzepl
