// The transform: a stage for each factor, then the permutations into natural order.
#pragma once

#include <type_traits>

#include "frame/mathematics.h"
#include "spectral/fft_order.h"
#include "spectral/fft_stage.h"

namespace zcmds {

namespace {

// The tables outlive the block: they are the same for the next.
// Only the first angle's cosine and sine are calculated; the others follow by rotation, and the upper half by mirroring.
void fillOddTables(FftPlan& plan, std::int32_t factor) {
    if (factor == plan.jf) return;
    plan.jf = factor;
    const double angle = plan.rad / factor, c = mathematics.cos(angle), s = mathematics.sin(angle);
    double* const ck = plan.ck;
    double* const sk = plan.sk;
    std::int32_t j = 0, k = factor - 1;
    ck[k] = 1.0;
    sk[k] = 0.0;
    do {
        ck[j] = c * ck[k] + s * sk[k];
        sk[j] = s * ck[k] - c * sk[k];
        --k;
        ck[k] = ck[j];
        sk[k] = -sk[j];
        ++j;
    } while (j < k);
}

// Calls use(kernel) with the kernel of the factor.
template <class Use>
ZCMDS_INLINE void withKernel(FftPlan& plan, std::int32_t factor, Use use) {
    const double c72 = plan.c72, s72 = plan.s72;
    switch (factor) {
        case 2:
            return use(Radix2{});
        case 3:
            return use(Radix3{plan.s120});
        case 4:
            return plan.direction == 0 ? use(Radix4<false>{}) : use(Radix4<true>{});
        case 5:
            return use(Radix5{c72, s72, c72 * c72 - s72 * s72, 2 * c72 * s72});
        case 7:
            fillOddTables(plan, factor);
            return use(Radix7{plan.ck, plan.sk});
        default:
            fillOddTables(plan, factor);
            return use(RadixOdd{factor, plan.ck, plan.sk});
    }
}

// Elements whose stages follow each other in the nearest cache.
constexpr std::int32_t cachedLength = 4096;

// The stages from `first` on, of `length` elements. In a long array each group goes through all its further stages on its
// own: a stage over many long groups would jump between places that share their cache lines' sets.
void runStages(double* a, double* b, std::int32_t length, FftPlan& plan, std::int32_t first) {
    for (std::int32_t i = first; i + 1 < plan.factorCount; ++i) {
        const FftTwiddles& twiddles = plan.twiddles[i];
        withKernel(plan, plan.factors[i], [&](const auto& kernel) {
            runStage({a, b, length, twiddles.span}, kernel, plan, twiddles);
        });
        if (length <= cachedLength) continue;
        for (std::int32_t start = 0; start < length; start += twiddles.span)
            runStages(a + start, b + start, twiddles.span, plan, i + 1);
        return;
    }
}

// The last stage and the order of the square factors.
void finish(double* a, double* b, FftPlan& plan, double scale) {
    withKernel(plan, plan.factors[plan.factorCount - 1], [&](const auto& kernel) {
        using Kernel = std::decay_t<decltype(kernel)>;
        if constexpr (Kernel::maxFactor <= laneCount) {
            if (plan.squareCount > 0) return lastStageOfTiles(a, b, plan, kernel, scale);
        }
        runGroups<8>({a, b, plan.length, 1}, kernel, 0, Scaled{scale});
        if (plan.squareCount > 0) permuteSquares(a, b, plan);
    });
}

void transform(double* a, double* b, FftPlan& plan) {
    if (plan.factorCount == 0) return;
    runStages(a, b, plan.length, plan, 0);
    finish(a, b, plan, plan.direction == 0 ? 1.0 / static_cast<double>(plan.length) : 1.0);
    if (plan.freeCount > 1) permuteCore(a, b, plan);
}

}  // namespace

}  // namespace zcmds
