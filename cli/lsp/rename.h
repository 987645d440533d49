// Another name for what a procedure declares.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "cli/lsp/outline.h"

namespace cli::lsp {

// The word at the offset where it names what the procedure declares, or counts in a vector's formula; else null.
const Word* renamableAt(const Outline& outline, std::size_t offset);

// Where the name is, each to be replaced. A Problem where `name` is none, or where it means something already, so that the
// procedure would be another one.
std::vector<const Word*> renamed(const Outline& outline, const Word& word, const std::string& name);

}  // namespace cli::lsp
