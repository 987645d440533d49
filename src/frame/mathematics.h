// The transcendental functions, bound to the host's at start-up. Results are these to the bit, since the same bits on every
// processor come from the host's alone; approximation.h says where they need not be called for that. (Square root, absolute
// value and floor are exact, so commands compute them in line.)
#pragma once

#include <algorithm>
#include <cstdint>

namespace zcmds {

struct Mathematics {
    double (*exp)(double);
    double (*log10)(double);
    double (*cos)(double);
    double (*sin)(double);
    double (*atan2)(double y, double x);
    double (*pow)(double x, double y);

    // The same of `n` arguments, for whole blocks; the result may be in an argument's place. Where the host has no such
    // operation they call the scalar ones, with the same bits.
    void (*expArray)(const double* x, double* result, std::int32_t n);
    void (*log10Array)(const double* x, double* result, std::int32_t n);
    void (*cosArray)(const double* x, double* result, std::int32_t n);
    void (*sinArray)(const double* x, double* result, std::int32_t n);
    void (*atan2Array)(const double* y, const double* x, double* result, std::int32_t n);
    void (*powArray)(const double* x, const double* y, double* result, std::int32_t n);
};

extern Mathematics mathematics;

// Arguments that are computed together where they need memory of their own, on the task's stack.
inline constexpr std::int32_t mathematicsPiece = 256;

// Calls `process(start, count)` for one piece of `n` elements after the other.
template <class Process>
void inPieces(std::int32_t n, Process process) {
    for (std::int32_t start = 0; start < n; start += mathematicsPiece)
        process(start, std::min(n - start, mathematicsPiece));
}

}  // namespace zcmds
