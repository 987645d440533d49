// The names of channels and values that a caller's options give.
#pragma once

#include <string>
#include <vector>

#include "runtime/binder.h"

namespace libzepl {

// Adds a mistake for each option that names what the procedure does not declare, or an array where only elements can be. The
// procedure's arrays have been expanded.
void refuseUnknownOptions(const Procedure& procedure, const BindOptions& options, std::vector<Diagnostic>& diagnostics);

// What the procedure declares the name as, or an empty text. Its arrays have been expanded; their own names count.
std::string kindDeclared(const Procedure& procedure, const std::string& name);

}  // namespace libzepl
