// The end of the set-up round: every task has run once, so who reads and who writes is known.
#pragma once

#include "runtime/engine/engine.h"

namespace libzepl {

// Refuses the run where a set-up failed, or where nothing would end an output.
void finishSetUp(Engine& e);

}  // namespace libzepl
