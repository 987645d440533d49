// Arrays: declarations that stand for several, and the names of their elements.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "procedure_support.h"

namespace libzepl {
namespace {

TEST(Indices, AreRefusedWhereANumberIsComputedBeforehand) {
    const std::string names = " | an expression has numbers, constants, functions, `pi`, `inf`, `nan` and `rate`";
    const std::vector<std::pair<std::string, std::string>> cases{
        {"pipe x : int16\nA (1 + x[-n])\nconstant n = 2",
         "2:8 samples of `x` come while the procedure runs, and this is computed before | a pipe that an expression "
         "defines can use them: pipe NAME : TYPE = EXPRESSION"},
        {"variable x : int16 = 1\nA (1 + x[1])",
         "2:8 elements of `x` are variables, which can change while the procedure runs | numbers that stay are declared "
         "as constant NAME = EXPRESSION"},
        {"trigger x\nA (1 - x[1])", "2:8 elements of `x` are triggers, and a number is wanted" + names},
        {"constant n = 1\nA (1 - n[1])", "2:8 `n` is one number, which has no elements | write `n` alone"},
        {"A (1 - zebra[1])", "1:8 unknown name `zebra`" + names},
        {"A (1 - zebra[1)", "1:15 expected an operator or `]`, not `)`"},
        {"A (1 - x[1][-2][3])",
         "1:16 expected an operator, not `[` | the element of an array, and then a past sample of it, are indices enough"},
        {"constant a = a[a]",
         "1:10 `a` needs `a`: they have no value | a constant is computed from others, never from itself"},
        {"vector x : int16 = [i[1] for i = 1 to 2]", "1:21 unknown name `i`" + names},
        {"constant a = 1..2", "1:15 expected the end of the line, not `..` | write one statement a line"},
        {"pipe x : int16\nA (length(x[1]))", "2:11 `x` is one pipe, which has no elements | write length(x)"},
    };
    for (const auto& [text, mistakes] : cases) EXPECT_EQ(evaluate(text).mistakes, mistakes + "\n") << text;
}

}  // namespace
}  // namespace libzepl
