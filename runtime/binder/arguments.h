// The arguments of one command: what their names stand for, and the kinds that they are passed as.
#pragma once

#include <map>
#include <optional>
#include <set>
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
    std::set<std::string> constants;
    std::set<std::string> refused;  // declared by a statement whose mistake was reported
};

struct BoundArguments {
    std::vector<TaskArgument> arguments;
    std::string advice;  // what the signature admits and what was given, when the list does not fit it; else empty
};

// Binds the arguments of one command after the other, when all names have been declared.
class ArgumentBinder {
 public:
    ArgumentBinder(const DeclaredNames& names, const Session& session, const CommandLibrary& library,
                   std::vector<Diagnostic>& diagnostics)
        : names_(names), session_(session), library_(library), diagnostics_(diagnostics) {}

    // Nothing where an argument stands for nothing. Unknown names are added to the diagnostics; one that a refused
    // statement declares is not.
    std::optional<BoundArguments> bind(const Command& command, const CommandUse& use);

 private:
    void refuseUnknown(const Argument& argument);

    const DeclaredNames& names_;
    const Session& session_;
    const CommandLibrary& library_;
    std::vector<Diagnostic>& diagnostics_;
    std::optional<KnownNames> known_;  // when one was first looked for in vain
    std::size_t knownCount_ = 0;
    std::size_t compared_ = 0;  // names with names, in all
};

}  // namespace libzepl
