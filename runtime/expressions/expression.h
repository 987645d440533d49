// Expressions: what numbers are computed from, as trees. A tree says nothing of what its names stand for.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/number.h"

namespace libzepl {

struct Function;

struct Expression {
    enum class Form {
        number,
        name,
        index,  // `name`[k], or `name`[k][j], with these one or two operands: an element, a past sample, or an element's
        sign,   // `operation` and one operand
        arithmetic,  // `operation` between two operands, comparisons among them
        call,        // `function` of the operands
        series,      // [body for name = first to last]: a vector's values, with these three operands
    };
    enum class Operation {
        add,
        subtract,
        multiply,
        divide,
        remainder,
        power,
        less,
        lessEqual,
        greater,
        greaterEqual,
        equal,
        unequal
    };

    Form form = Form::number;
    Operation operation = Operation::add;
    const Function* function = nullptr;
    Number number;
    std::string name;
    std::vector<Expression> operands;
    Place place;  // of the number, name or operator
    bool inParentheses = false;
    int depth = 1;  // nodes from here to the furthest leaf
};

// What can be called in an expression.
struct Function {
    enum class Kind {
        real,    // of numbers
        whole,   // of a number, with a result that is an integer whatever it came from
        choice,  // if(c, a, b): only one of the two is evaluated
        length,  // of a pipe's name
        filter,  // gives a vector's values
    };
    std::string_view name;
    Kind kind = Kind::real;
    std::size_t least = 1, most = 1;                                    // arguments
    double (*value)(const double* arguments, std::size_t n) = nullptr;  // of `real` and `whole`
};

std::span<const Function> allFunctions();
// The names of all, for whom they must not start a statement.
std::span<const std::string_view> functionNames();

}  // namespace libzepl
