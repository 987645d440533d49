// The values of expressions.
#pragma once

#include <cstddef>
#include <vector>

#include "runtime/expressions/expression.h"

namespace libzepl {

// Thrown where an expression has no value.
struct ExpressionRefused {
    Diagnostic mistake;
};
[[noreturn]] void refuseExpression(const Place& place, std::string message, std::string remedy = {});

// What the names of an expression stand for.
class Scope {
 public:
    virtual ~Scope() = default;
    // What the name, with or without indices, stands for; throws where it stands for no number. `name` is a node of one of
    // the two forms.
    virtual Number valueOf(const Expression& name) const = 0;
    // The frames of the recording that the pipe, or the element of an array of pipes, is read from.
    virtual Number lengthOf(const Expression& name) const = 0;
};

// `base` to the power of `exponent`. Whole powers of whole numbers are products, so that those that fit are exact, and so are
// squares and cubes.
double powerOf(double base, double exponent);

// The value, computed in double as the expression is written. It is an integer when it is whole, below 2^63, and came from
// integers without `/`, or from floor, ceil, round or trunc. Division by zero is refused.
Number evaluate(const Expression& tree, const Scope& scope);

// The values of a vector: of a series, or of a filter. More than `most` are refused.
std::vector<Number> evaluateVector(const Expression& tree, const Scope& scope, std::size_t most);

}  // namespace libzepl
