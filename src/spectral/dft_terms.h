// The frequency terms of DFT: one second-order recurrence each, run on the stream as it arrives (G. Goertzel, "An algorithm
// for the evaluation of finite trigonometric series", American Mathematical Monthly, 1958).
#pragma once

#include <cstdint>

namespace zcmds {

struct DftTerm {
    double coeff;        // 2 cos(theta), theta being the term's angle from sample to sample
    double sine;         // sin(theta)
    double s1;           // the recurrence's latest value
    double s2;           // the value before it
    std::int32_t index;  // the selected term
};

// Sets the term `index`, below `length`, of a block of `length` samples.
void setDftTerm(DftTerm& term, std::uint32_t index, std::uint32_t length);

// Takes `n` weighted samples y, in order, into each of the terms: v = coeff * s1 + y - s2; s2 = s1; s1 = v.
void advanceDftTerms(DftTerm* terms, std::int32_t termCount, const double* y, std::int32_t n);

}  // namespace zcmds
