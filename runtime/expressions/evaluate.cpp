#include "runtime/expressions/evaluate.h"

#include <cmath>
#include <optional>
#include <utility>

#include "host/mathematics.h"
#include "runtime/expressions/filters.h"

namespace libzepl {

namespace {

using Form = Expression::Form;
using Operation = Expression::Operation;

Number numberOf(double value, bool mayBeInteger) {
    Number number;
    number.real = value;
    number.isInteger = mayBeInteger && std::floor(value) == value && std::fabs(value) < 0x1p63;
    if (number.isInteger) number.integer = static_cast<std::int64_t>(value);
    return number;
}

bool areIntegers(const std::vector<Number>& numbers) {
    for (const Number& number : numbers)
        if (!number.isInteger) return false;
    return true;
}

double resultOf(Operation operation, double a, double b) {
    switch (operation) {
        case Operation::add:
            return a + b;
        case Operation::subtract:
            return a - b;
        case Operation::multiply:
            return a * b;
        case Operation::divide:
            return a / b;
        case Operation::remainder:
            return std::fmod(a, b);
        case Operation::power:
            return powerOf(a, b);
        case Operation::less:
            return a < b;
        case Operation::lessEqual:
            return a <= b;
        case Operation::greater:
            return a > b;
        case Operation::greaterEqual:
            return a >= b;
        case Operation::equal:
            return a == b;
        default:
            return a != b;
    }
}

bool compares(Operation operation) { return operation >= Operation::less; }

Number arithmetic(const Expression& tree, const Scope& scope) {
    const Number a = evaluate(tree.operands[0], scope), b = evaluate(tree.operands[1], scope);
    const bool divides = tree.operation == Operation::divide;
    if ((divides || tree.operation == Operation::remainder) && b.real == 0)
        refuseExpression(tree.place, "division by zero");
    const bool fromIntegers = a.isInteger && b.isInteger && !divides;
    return numberOf(resultOf(tree.operation, a.real, b.real), fromIntegers || compares(tree.operation));
}

Number call(const Expression& tree, const Scope& scope) {
    const Function& function = *tree.function;
    if (function.kind == Function::Kind::length) return scope.lengthOf(tree.operands[0]);
    if (function.kind == Function::Kind::filter)
        refuseExpression(
            tree.place, quoted(function.name) + " gives a vector, and one number is wanted",
            "declare it, vector NAME : double = " + std::string(function.name) + "( ... ), and give the name");
    if (function.kind == Function::Kind::choice)
        return evaluate(tree.operands[evaluate(tree.operands[0], scope).real != 0 ? 1 : 2], scope);
    std::vector<Number> numbers;
    std::vector<double> arguments;
    for (const Expression& operand : tree.operands) {
        numbers.push_back(evaluate(operand, scope));
        arguments.push_back(numbers.back().real);
    }
    return numberOf(function.value(arguments.data(), arguments.size()),
                    function.kind == Function::Kind::whole || areIntegers(numbers));
}

// Where one name is a number and the others are as they were.
class CountingScope : public Scope {
 public:
    CountingScope(const std::string& name, const Scope& outer) : name_(name), outer_(outer) {}
    void set(std::int64_t value) { value_ = numberOf(static_cast<double>(value), true); }
    Number valueOf(const Expression& name) const override {
        const bool isMine = name.form == Form::name && name.name == name_;
        return isMine ? value_ : outer_.valueOf(name);
    }
    Number lengthOf(const Expression& name) const override { return outer_.lengthOf(name); }

 private:
    const std::string& name_;
    const Scope& outer_;
    Number value_;
};

std::int64_t boundOf(const Expression& tree, const std::string& name, const Scope& scope) {
    const Number bound = evaluate(tree, scope);
    // What counts is exact in double.
    if (!bound.isInteger || std::fabs(bound.real) > 0x1p53)
        refuseExpression(tree.place,
                         quoted(name) + " counts integers, and " + textOf(bound) + " is none that it can reach",
                         "round(), floor() and ceil() make integers");
    return bound.integer;
}

std::vector<Number> seriesOf(const Expression& tree, const Scope& scope, std::size_t most) {
    const std::int64_t first = boundOf(tree.operands[1], tree.name, scope);
    const std::int64_t last = boundOf(tree.operands[2], tree.name, scope);
    const std::string range = quoted(tree.name) + " from " + std::to_string(first) + " to " + std::to_string(last);
    if (last < first)
        refuseExpression(tree.place, range + " gives no value", "it counts upwards, to the last value too");
    if (static_cast<std::uint64_t>(last - first) >= most)
        refuseExpression(tree.place, range + " gives over " + std::to_string(most) + " values",
                         "read a longer vector from a file");
    CountingScope inner(tree.name, scope);
    std::vector<Number> values;
    for (std::int64_t i = first; i <= last; ++i) {
        inner.set(i);
        values.push_back(evaluate(tree.operands[0], inner));
    }
    return values;
}

FilterDesign designOf(const Expression& tree, const Scope& scope, std::size_t most) {
    std::vector<Number> given;
    for (const Expression& operand : tree.operands) given.push_back(evaluate(operand, scope));
    FilterDesign design;
    const std::string_view name = tree.function->name;
    design.passesZero = name == "lowpass" || name == "bandstop";
    const std::size_t edges = tree.function->least - 1;
    if (!given[0].isInteger || given[0].integer < 1 || static_cast<std::uint64_t>(given[0].integer) > most)
        refuseExpression(tree.operands[0].place, quoted(name) + " has a whole number of taps from 1 to " +
                                                     std::to_string(most) + ", not " + textOf(given[0]));
    design.taps = static_cast<std::size_t>(given[0].integer);
    for (std::size_t i = 1; i <= edges; ++i) {
        const double edge = given[i].real, before = i == 1 ? 0 : given[i - 1].real;
        if (!(edge > before && edge < 0.5))
            refuseExpression(tree.operands[i].place,
                             quoted(name) + " takes " + (i == 1 ? "a frequency above 0" : "frequencies that rise,") +
                                 " and below 0.5, not " + textOf(given[i]),
                             "frequencies are parts of the sampling rate, such as 50 / rate");
        design.edges.push_back(edge);
    }
    if (given.size() > edges + 1) design.attenuation = given.back().real;
    if (!(design.attenuation >= 0 && design.attenuation <= 300))
        refuseExpression(tree.operands.back().place,
                         "the attenuation is from 0 to 300 dB, not " + textOf(given.back()));
    const bool passesNyquist = design.passesZero == (edges == 2);
    if (passesNyquist && design.taps % 2 == 0)
        refuseExpression(tree.operands[0].place,
                         quoted(name) + " has an odd number of taps: with " + std::to_string(design.taps) +
                             " nothing passes at half the sampling rate",
                         "take " + std::to_string(design.taps + 1));
    return design;
}

}  // namespace

double powerOf(double base, double exponent) {
    if (exponent == 2) return base * base;
    if (exponent == 3) return base * base * base;
    const bool isProduct =
        std::floor(base) == base && std::floor(exponent) == exponent && exponent >= 0 && exponent < 64;
    if (!isProduct) return zepl::pow(base, exponent);
    double product = 1;
    for (int i = 0; i < static_cast<int>(exponent); ++i) product *= base;
    return product;
}

void refuseExpression(const Place& place, std::string message, std::string remedy) {
    throw ExpressionRefused{{Severity::error, place, std::move(message), std::move(remedy)}};
}

Number evaluate(const Expression& tree, const Scope& scope) {
    switch (tree.form) {
        case Form::number:
            return tree.number;
        case Form::name:
        case Form::index:
            return scope.valueOf(tree);
        case Form::sign: {
            const Number operand = evaluate(tree.operands[0], scope);
            if (tree.operation == Operation::add) return operand;
            return numberOf(-operand.real, operand.isInteger);
        }
        case Form::arithmetic:
            return arithmetic(tree, scope);
        case Form::call:
            return call(tree, scope);
        case Form::series:
            break;
    }
    refuseExpression(tree.place, "a series gives a vector, and one number is wanted");
}

std::vector<Number> evaluateVector(const Expression& tree, const Scope& scope, std::size_t most) {
    if (tree.form == Form::series) return seriesOf(tree, scope, most);
    std::vector<Number> values;
    for (double tap : tapsOf(designOf(tree, scope, most))) values.push_back(numberOf(tap, false));
    return values;
}

}  // namespace libzepl
