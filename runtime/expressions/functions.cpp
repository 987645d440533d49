#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "host/mathematics.h"
#include "runtime/base/mathematics.h"
#include "runtime/expressions/expression.h"

namespace libzepl {

namespace {

using Kind = Function::Kind;

constexpr std::size_t any = std::numeric_limits<std::size_t>::max();

// What is computed here is exact on every processor, or comes from the host's mathematics.
constexpr std::array<Function, 21> functions{{
    {"abs", Kind::real, 1, 1, [](const double* x, std::size_t) { return std::fabs(x[0]); }},
    {"sqrt", Kind::real, 1, 1, [](const double* x, std::size_t) { return std::sqrt(x[0]); }},
    {"exp", Kind::real, 1, 1, [](const double* x, std::size_t) { return zepl::exp(x[0]); }},
    {"log", Kind::real, 1, 1, [](const double* x, std::size_t) { return naturalLogarithm(x[0]); }},
    {"log10", Kind::real, 1, 1, [](const double* x, std::size_t) { return zepl::log10(x[0]); }},
    {"sin", Kind::real, 1, 1, [](const double* x, std::size_t) { return zepl::sin(x[0]); }},
    {"cos", Kind::real, 1, 1, [](const double* x, std::size_t) { return zepl::cos(x[0]); }},
    {"tan", Kind::real, 1, 1, [](const double* x, std::size_t) { return tangent(x[0]); }},
    {"atan2", Kind::real, 2, 2, [](const double* x, std::size_t) { return zepl::atan2(x[0], x[1]); }},
    {"min", Kind::real, 2, any, [](const double* x, std::size_t n) { return *std::min_element(x, x + n); }},
    {"max", Kind::real, 2, any, [](const double* x, std::size_t n) { return *std::max_element(x, x + n); }},
    {"floor", Kind::whole, 1, 1, [](const double* x, std::size_t) { return std::floor(x[0]); }},
    {"ceil", Kind::whole, 1, 1, [](const double* x, std::size_t) { return std::ceil(x[0]); }},
    {"round", Kind::whole, 1, 1, [](const double* x, std::size_t) { return std::nearbyint(x[0]); }},
    {"trunc", Kind::whole, 1, 1, [](const double* x, std::size_t) { return std::trunc(x[0]); }},
    {"if", Kind::choice, 3, 3},
    {"length", Kind::length, 1, 1},
    {"lowpass", Kind::filter, 2, 3},
    {"highpass", Kind::filter, 2, 3},
    {"bandpass", Kind::filter, 3, 4},
    {"bandstop", Kind::filter, 3, 4},
}};

constexpr auto names = [] {
    std::array<std::string_view, functions.size()> all;
    for (std::size_t i = 0; i < all.size(); ++i) all[i] = functions[i].name;
    return all;
}();

}  // namespace

std::span<const Function> allFunctions() { return functions; }
std::span<const std::string_view> functionNames() { return names; }

}  // namespace libzepl
