// The values of constants and expressions of a procedure, for a look at them.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "runtime/procedure.h"

namespace cli::lsp {

// Evaluates without opening a file: `lengths` has the frames of the recordings that are known, by their pipes.
class Values {
 public:
    Values(const libzepl::Procedure& procedure, const std::map<std::string, std::uint64_t>& lengths,
           const std::vector<std::string>& words);

    // As a procedure would write it; nothing where it cannot be computed.
    std::optional<std::string> ofName(const std::string& name) const;
    std::optional<std::string> of(const libzepl::ExpressionTree& tree) const;

 private:
    std::optional<std::string> ofArgument(libzepl::Procedure with) const;

    libzepl::Procedure needed_;  // what others can depend on
    const std::map<std::string, std::uint64_t>& lengths_;
    const std::vector<std::string>& words_;
};

}  // namespace cli::lsp
