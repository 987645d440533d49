#include "spectral/dft_terms.h"

#include <algorithm>

#include "frame/mathematics.h"
#include "frame/vector_clones.h"

namespace zcmds {

namespace {

// Terms that run side by side. A step of one waits for the step before it, so there must be enough of them to fill the
// vector registers meanwhile; lanes without a term cost nothing then.
constexpr std::int32_t laneCount = 16;

// Samples between loads and stores of a lane's values.
constexpr std::int32_t stepCount = 8;

struct Lanes {
    alignas(64) double coeff[laneCount];
    alignas(64) double s1[laneCount];
    alignas(64) double s2[laneCount];
};

template <std::int32_t steps>
inline __attribute__((always_inline)) void stepLanes(Lanes& lanes, const double* __restrict y) {
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

ZCMDS_VECTOR_CLONES void runLanes(Lanes& lanes, const double* __restrict y, std::int32_t n) {
    std::int32_t i = 0;
    for (; i <= n - stepCount; i += stepCount) stepLanes<stepCount>(lanes, y + i);
    for (; i < n; ++i) stepLanes<1>(lanes, y + i);
}

}  // namespace

void setDftTerm(DftTerm& term, std::uint32_t index, std::uint32_t length) {
    const double theta = (index * 6.283185307179586) / length;
    term.coeff = mathematics.cos(theta) * 2.0;
    term.sine = mathematics.sin(theta);
    term.index = static_cast<std::int32_t>(index);
}

void advanceDftTerms(DftTerm* terms, std::int32_t termCount, const double* y, std::int32_t n) {
    for (std::int32_t first = 0; first < termCount; first += laneCount) {
        const std::int32_t used = std::min(termCount - first, laneCount);
        Lanes lanes{};
        for (std::int32_t k = 0; k < used; ++k) {
            lanes.coeff[k] = terms[first + k].coeff;
            lanes.s1[k] = terms[first + k].s1;
            lanes.s2[k] = terms[first + k].s2;
        }
        runLanes(lanes, y, n);
        for (std::int32_t k = 0; k < used; ++k) {
            terms[first + k].s1 = lanes.s1[k];
            terms[first + k].s2 = lanes.s2[k];
        }
    }
}

}  // namespace zcmds
