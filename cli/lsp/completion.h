// What a word that is being written can become.
#pragma once

#include <string>
#include <vector>

#include "cli/lsp/outline.h"
#include "runtime/commands.h"

namespace cli::lsp {

struct Candidate {
    // As the protocol numbers kinds.
    enum class Kind {
        function = 3,
        variable = 6,
        module = 9,
        value = 12,
        keyword = 14,
        constant = 21,
        event = 23,
        type = 25
    };
    std::string label;
    Kind kind = Kind::variable;
    std::string detail{};   // half a line
    std::string snippet{};  // what is written with the places to fill in, where there are any
    bool isFirst = false;   // fits the place better than others do
};

// The candidates for the word that ends at `offset`, or starts there. The editor keeps those that begin as the word does.
std::vector<Candidate> completionsAt(const Outline& outline, std::size_t offset,
                                     const libzepl::CommandLibrary& library);

}  // namespace cli::lsp
