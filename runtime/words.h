// The words of procedures, for programs that colour, complete or explain them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "diagnostics.h"

namespace libzepl {

// A part of a statement.
struct StatementToken {
    enum class Kind { word, number, text, mark };
    Kind kind = Kind::word;
    std::string_view text;  // as written, in the text that was read
    Place place;
    bool isCalled = false;  // a word with `(` after it

    bool isWord(std::string_view word) const { return kind == Kind::word && text == word; }
    bool isMark(std::string_view mark) const { return kind == Kind::mark && text == mark; }
};

// The statements of a text, as the parser divides it, also where it could not read them: each up to what is no token, such as a
// text that is not closed.
std::vector<std::vector<StatementToken>> statementsIn(std::string_view text);

// The words that open a declaration.
std::vector<std::string> declarationNames();
// The clauses that a declaration takes; those of a pipe that an expression defines are others.
std::vector<std::string> clausesOf(std::string_view declaration, bool isDefinition = false);
// The functions of expressions.
std::vector<std::string> functionsOfExpressions();

}  // namespace libzepl
