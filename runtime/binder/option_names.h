// The names of channels and values that a caller's options give.
#pragma once

#include <vector>

#include "runtime/binder.h"

namespace libzepl {

// Adds a mistake for each option that names what the procedure does not declare, or an array where only elements can be. The
// procedure's arrays have been expanded.
void refuseUnknownOptions(const Procedure& procedure, const BindOptions& options, std::vector<Diagnostic>& diagnostics);

}  // namespace libzepl
