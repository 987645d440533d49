#include "spectral/dft_terms.h"

#include <algorithm>

#include "frame/mathematics.h"
#include "frame/vector_clones.h"

namespace zcmds {

namespace {

// Terms that run side by side in vector registers.
template <std::int32_t laneCount>
struct Lanes {
    alignas(64) double coeff[laneCount];
    alignas(64) double s1[laneCount];
    alignas(64) double s2[laneCount];
};

template <std::int32_t steps, std::int32_t laneCount>
[[gnu::always_inline]] inline void stepLanes(Lanes<laneCount>& lanes, const double* __restrict y) {
    for (std::int32_t k = 0; k < laneCount; ++k) {
        const double coeff = lanes.coeff[k];
        double s1 = lanes.s1[k], s2 = lanes.s2[k];
        for (std::int32_t j = 0; j < steps; ++j) {
            const double v = (coeff * s1 + y[j]) - s2;
            s2 = s1;
            s1 = v;
        }
        lanes.s1[k] = s1;
        lanes.s2[k] = s2;
    }
}

template <std::int32_t laneCount>
ZCMDS_VECTOR_CLONES void runLanes(Lanes<laneCount>& lanes, const double* __restrict y, std::int32_t n) {
    constexpr std::int32_t steps = laneCount > 16 ? 4 : 8;  // between loads and stores of a lane's values
    std::int32_t i = 0;
    for (; i <= n - steps; i += steps) stepLanes<steps>(lanes, y + i);
    for (; i < n; ++i) stepLanes<1>(lanes, y + i);
}

// Takes the samples into at most `laneCount` terms.
template <std::int32_t laneCount>
void advanceGroup(DftTerm* terms, std::int32_t used, const double* y, std::int32_t n) {
    Lanes<laneCount> lanes{};
    for (std::int32_t k = 0; k < used; ++k) {
        lanes.coeff[k] = terms[k].coeff;
        lanes.s1[k] = terms[k].s1;
        lanes.s2[k] = terms[k].s2;
    }
    runLanes(lanes, y, n);
    for (std::int32_t k = 0; k < used; ++k) {
        terms[k].s1 = lanes.s1[k];
        terms[k].s2 = lanes.s2[k];
    }
}

}  // namespace

void setDftTerm(DftTerm& term, std::uint32_t index, std::uint32_t length) {
    const double theta = (index * 6.283185307179586) / length;
    term.coeff = mathematics.cos(theta) * 2.0;
    term.sine = mathematics.sin(theta);
    term.index = static_cast<std::int32_t>(index);
}

// A step of a term waits for the step before it, so the more terms run side by side the better; lanes without a term cost
// less than another round.
void advanceDftTerms(DftTerm* terms, std::int32_t termCount, const double* y, std::int32_t n) {
    constexpr std::int32_t maxLanes = 64;
    for (std::int32_t first = 0; first < termCount; first += maxLanes) {
        const std::int32_t left = termCount - first;
        if (left <= 8)
            advanceGroup<8>(terms + first, left, y, n);
        else if (left <= 16)
            advanceGroup<16>(terms + first, left, y, n);
        else if (left <= 32)
            advanceGroup<32>(terms + first, left, y, n);
        else
            advanceGroup<maxLanes>(terms + first, std::min(left, maxLanes), y, n);
    }
}

}  // namespace zcmds
