// The end of the outputs: all that is written is completed first, and only then does each file get a name, so that a failure
// leaves as few as can be with the new content.
#pragma once

#include "runtime/engine/engine.h"

namespace libzepl {

// Outputs of a run that did not get past its set-ups are dropped; those of one that failed are kept under other names.
void finishOutputs(Engine& e);

}  // namespace libzepl
