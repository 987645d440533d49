// The words of the procedure language with what the guide says of them, for hover, completion and the editors' highlighting.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "runtime/commands.h"

namespace cli::lsp {

struct LanguageWord {
    std::string word;
    std::string written;  // as the guide's table has it, such as `channel K`
    std::string meaning;  // in Markdown
};

// The words that open a declaration, and the clauses, in the guide's order.
const std::vector<LanguageWord>& statementWords();
const std::vector<LanguageWord>& clauseWords();
// Those clauses that a declaration takes; a pipe that an expression defines takes others.
std::vector<LanguageWord> clausesAfter(std::string_view statement, bool isDefinition);

std::vector<std::string> typeNames();
std::vector<std::string> conversions();
// `pi` and the like, which are numbers where nothing declares them.
const std::vector<std::string>& numberWords();
// The columns of tables that count.
const std::vector<std::string>& countingColumns();

// All of them with the commands and their words, as JSON: what the word lists in editors/ are made from.
std::string wordsAsJson(const libzepl::CommandLibrary& library);

}  // namespace cli::lsp
