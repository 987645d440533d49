// What is shown of the word under the mouse, in Markdown.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "cli/lsp/outline.h"
#include "runtime/commands.h"

namespace cli::lsp {

struct Hover {
    std::string markdown;
    std::size_t start = 0, end = 0;  // of what it is about, in the text
};

using Lengths = std::map<std::string, std::uint64_t>;  // frames of recordings, by the pipes that read them

// A command's page; a name's declaration, with a constant's value; a word of the language; else the value of the expression.
std::optional<Hover> hoverAt(const Outline& outline, std::size_t offset, const libzepl::CommandLibrary& library,
                             const Lengths& lengths);

// The page with the parameters, as in the terminal. Links among the documents lead nowhere in an editor, and are left out.
std::string pageInMarkdown(const libzepl::Command& command);

}  // namespace cli::lsp
