// In-place complex Fourier transform of any length whose factors it can take: R. C. Singleton's mixed-radix algorithm ("An
// algorithm for computing the mixed radix fast Fourier transform", IEEE Transactions on Audio and Electroacoustics, 1969).
// All arithmetic is in double. Nothing is allocated: the plan, of a fixed size below 10 KB, and the caller's two arrays are
// all the memory there is, with up to 25 KB of stack in the course of a transform.
#pragma once

#include <cstdint>

namespace zcmds {

// The maximum number of factors of a length up to 2^24 (12754584 has 16), product of the square-free core, and odd factor.
constexpr std::int32_t fftMaxFactorCount = 16, fftMaxCore = 323, fftMaxFactor = 19;

// The twiddle factors of one stage, which follow each other by the rotation recurrence: twiddle j belongs to the
// butterflies at offset j of their groups. The recurrence is serial, so points of it are stored from which several runs of
// it continue side by side.
struct FftTwiddles {
    std::int32_t span;        // of the stage, after the division: the offsets, of which all but 0 are rotated
    std::int32_t tableStart;  // span <= fftMaxTableSpan: where its twiddles begin in tableC and tableS
    std::int32_t count;       // twiddles that are needed
    std::int32_t interval;    // between the points that follow
    double cd, sd;            // the step: 2 sin(x)^2 and sin(2x)
    double c1, s1;            // twiddle 1
    double c[8], s[8];        // twiddles 0, interval, 2 * interval, ...
};

// Stages up to this span have all their twiddles in a table; each span is at most half of the one before.
constexpr std::int32_t fftMaxTableSpan = 128;

// One transform path's constants and working values. It is set up once by fftPlanBuild and serves one caller at a time.
struct FftPlan {
    std::int32_t direction;    // 0 forward, 1 reverse
    std::int32_t total;        // complex elements in the arrays
    std::int32_t length;       // length of the transform, the number that is factored
    std::int32_t span;         // span of the variable being transformed, in elements
    std::int32_t stride;       // element increment
    std::int32_t factorCount;  // entries used in factors
    std::int32_t squareCount;  // square factors, that is mirrored pairs
    std::int32_t freeCount;    // factors of the square-free core between them

    std::int32_t factors[fftMaxFactorCount];    // in stage order, symmetric around the core
    std::int32_t spans[fftMaxFactorCount + 2];  // stage spans for the permutation; spans[0] = ns
    std::int32_t
        freeProducts[fftMaxFactorCount + 1];  // product of the core's factors from position i on; 1 after the last

    // The core's digit reversal as marked cycles: a cycle's smallest member has its successor, the others their successors
    // negated. Then the same as a list: a cycle's length and members, each of which takes its successor's element, and a 0
    // after the last cycle.
    std::int32_t permutationTop;  // highest index to scan for a cycle's smallest member
    std::int32_t permutation[fftMaxCore + 1];
    std::int16_t cycles[fftMaxCore / 2 * 3 + 2];

    double ck[fftMaxFactor], sk[fftMaxFactor];  // cosine and sine of (j + 1) * rad / jf
    double rad;                                 // a full turn: negative forward, positive reverse
    double halfAngle;                           // ns * rad / total / 2
    double c72, s72, s120;                      // cosine and sine of 72 and 120 degrees, signed like rad
    std::int32_t ns;                            // span * stride
    std::int32_t jf;                            // the factor for which ck and sk hold values; 0 if none

    FftTwiddles twiddles[fftMaxFactorCount];                          // of each stage
    double tableC[2 * fftMaxTableSpan], tableS[2 * fftMaxTableSpan];  // all twiddles of the stages with short spans
};

// Sets up the transform of `length` elements, direction 0 forward or 1 reverse. Commands give total = length = span and
// stride = 1, and nothing else is taken. False, and the plan cannot be used: length above 2^24 or below 1; a prime above 19;
// a square-free core whose product is above 323.
bool fftPlanBuild(std::int32_t direction, std::int32_t total, std::int32_t length, std::int32_t span,
                  std::int32_t stride, FftPlan& plan);

// Transforms a (real) and b (imaginary), total elements each, into natural order. Forward divides by the length; reverse
// does not scale, so that it undoes forward.
void fftExecute(double* a, double* b, FftPlan& plan);

}  // namespace zcmds
