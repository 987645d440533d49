// From tokens to the tree of an expression.
#pragma once

#include <string_view>

#include "runtime/expressions/expression.h"
#include "runtime/tokens/statement_cursor.h"

namespace libzepl {

// Takes the longest expression that stands here: comparisons, then + and -, then * / and %, a sign, and ^, from weak to strong;
// ^ from the right, the others from the left. What is none is refused by the cursor; where nothing of it has been taken,
// `wanted` is what the message calls it. Functions and the number of their arguments are checked, names are not. A number
// with a sign is one number. One or two indices in brackets belong to the name before them.
Expression takeExpression(StatementCursor& cursor, std::string_view wanted);

// Takes what follows the body of a series: `for NAME = FIRST to LAST`.
Expression takeSeries(StatementCursor& cursor, Expression body);

// Whether `name` is a number written as a word, nan or inf.
bool isNumberWord(std::string_view name);

}  // namespace libzepl
