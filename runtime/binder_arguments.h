// The arguments of one command: what their names stand for, and the kinds that they are passed as.
#pragma once

#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "runtime/commands.h"
#include "runtime/procedure.h"
#include "runtime/session.h"
#include "runtime/signature.h"

namespace libzepl {

// What a procedure declares, by name.
struct DeclaredNames {
    std::map<std::string, PipeId> pipes;
    std::map<std::string, TriggerId> triggers;
    std::map<std::string, VariableId> variables;
    std::map<std::string, VectorId> vectors;
};

// The signatures of a library's commands, parsed once for all their uses. The library must outlive them.
class ParsedSignatures {
 public:
    explicit ParsedSignatures(const CommandLibrary& library);
    // Null for a command without a signature.
    const Signature* of(const Command& command) const;
    // The words of the host's sets and of those that any signature declares.
    const std::vector<std::string>& words() const { return words_; }

 private:
    std::unordered_map<const Command*, Signature> signatures_;
    std::vector<std::string> words_;
};

struct BoundArguments {
    std::vector<TaskArgument> arguments;
    std::string advice;  // what the signature admits and what was given, when the list does not fit it; else empty
};

// Binds the arguments of `use`. Unknown names are added to `diagnostics`.
BoundArguments bindArguments(const Command& command, const CommandUse& use, const DeclaredNames& names,
                             const Session& session, const ParsedSignatures& signatures,
                             std::vector<Diagnostic>& diagnostics);

}  // namespace libzepl
