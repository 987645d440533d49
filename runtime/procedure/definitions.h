// Pipes that are defined by expressions.
#pragma once

#include <optional>
#include <vector>

#include "runtime/procedure.h"
#include "runtime/procedure/constants.h"

namespace libzepl {

// The tree with numbers in place of all that is known before samples flow, indices among it. Nothing, with the mistakes
// reported, where something of it has no value. What names of pipes and the like stand for is not looked at.
ExpressionTree foldedDefinition(const Expression& tree, Constants& constants);

// Checks the definitions of a procedure that has elements in place of its arrays: what their names stand for, their past
// samples, and that each has a first sample. One with a mistake is left out.
void checkDefinitions(Procedure& procedure, std::vector<Diagnostic>& diagnostics);

}  // namespace libzepl
