// The mathematics that the host offers, in the forms that processors have: vectors of two, four or eight doubles. All forms,
// and the scalar operations, which take one lane, give the same bits: they are SLEEF's functions without contraction (N. Shibata
// and F. Petrogalli, "SLEEF: A portable vectorized library of C standard mathematical functions", IEEE Transactions on
// Parallel and Distributed Systems, 2020), and every result that is not a number is the one quiet NaN below.
#pragma once

#include <cstdint>
#include <span>

namespace libzepl {

// The result may be an argument's own memory, and may not overlap it otherwise.
using UnaryArrayFunction = void(const double* x, double* result, std::int32_t n);
using BinaryArrayFunction = void(const double* x, const double* y, double* result, std::int32_t n);

struct MathematicsForm {
    const char* name;
    UnaryArrayFunction *exp, *log, *log10, *cos, *sin, *tan;
    BinaryArrayFunction *atan2, *pow;
};

// All that this processor can run, the fastest last.
std::span<const MathematicsForm> mathematicsForms();

// The forms beyond the one that every processor of the architecture has. They are defined on x86-64 alone.
extern const MathematicsForm avxMathematics, avx512Mathematics;

}  // namespace libzepl
