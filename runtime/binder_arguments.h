// The arguments of one command: what their names stand for, and the kinds that they are passed as.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "runtime/commands.h"
#include "runtime/procedure.h"
#include "runtime/session.h"

namespace libzepl {

// What a procedure declares, by name.
struct DeclaredNames {
    std::map<std::string, PipeId> pipes;
    std::map<std::string, TriggerId> triggers;
    std::map<std::string, VariableId> variables;
    std::map<std::string, VectorId> vectors;
};

struct BoundArguments {
    std::vector<TaskArgument> arguments;
    std::string advice;  // what the signature admits and what was given, when the list does not fit it; else empty
};

// Binds the arguments of `use`. Unknown names are added to `diagnostics`.
BoundArguments bindArguments(const Command& command, const CommandUse& use, const DeclaredNames& names,
                             const Session& session, const CommandLibrary& library,
                             std::vector<Diagnostic>& diagnostics);

}  // namespace libzepl
