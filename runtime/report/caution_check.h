// Which cautions apply to the tasks of a session.
#pragma once

#include "runtime/engine/engine.h"

namespace libzepl {

// Adds them to the report, in the order of the tasks. Who reads and who writes must be known: all set-ups have run.
void addCautions(const Engine& e, Report& report);

}  // namespace libzepl
