// The transform: a stage for each factor, then the permutations into natural order, then the forward scale.

#pragma once

#include "frame/mathematics.h"
#include "spectral/fft_engine.h"
#include "spectral/fft_stage.h"

namespace zcmds {

namespace {

// Only the first angle's cosine and sine are calculated; the others follow by turning, and the upper half by mirroring.
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

template <class Kernel>
void runOneStage(const StageArea& area, const Kernel& kernel, const FftTurns* turns) {
    if (turns != nullptr)
        runStage(area, kernel, *turns);
    else
        runColumn<Rotation::none>(area, kernel, 0, Turns{});
}

void runFactor(const StageArea& area, FftPlan& plan, std::int32_t factor, const FftTurns* turns) {
    switch (factor) {
        case 2: return runOneStage(area, Radix2{}, turns);
        case 3: return runOneStage(area, Radix3{plan.s120}, turns);
        case 4: return plan.direction == 0 ? runOneStage(area, Radix4<false>{}, turns) : runOneStage(area, Radix4<true>{}, turns);
        case 5: {
            const double c = plan.c72, s = plan.s72;
            return runOneStage(area, Radix5{c, s, c * c - s * s, 2 * c * s}, turns);
        }
        default: fillOddTables(plan, factor); return runOneStage(area, RadixOdd{factor, plan.ck, plan.sk}, turns);
    }
}

ZCMDS_INLINE void swapElements(double& x, double& y) {
    const double kept = x;
    x = y;
    y = kept;
}

struct Transform {
    double* a;
    double* b;
    FftPlan& plan;
};

// Elements whose square digits mirror each other change places.
void permuteSquares(Transform f) {
    const std::int32_t* spans = f.plan.spans;
    const std::int32_t ns = f.plan.ns, stride = f.plan.stride, kspan = spans[1];
    double* const a = f.a - 1;
    double* const b = f.b - 1;
    std::int32_t k2 = kspan + 1, kk = 2, j = 1;
    for (;;) {
        do {
            swapElements(a[kk], a[k2]);
            swapElements(b[kk], b[k2]);
            k2 += kspan;
            kk += stride;
        } while (k2 < ns);
        bool behind = false;
        do {
            do {
                k2 -= spans[j - 1];
                ++j;
                k2 += spans[j];
            } while (k2 > spans[j - 1]);
            j = 1;
            do {
                behind = kk < k2;
                if (behind) break;
                k2 += kspan;
                kk += stride;
            } while (k2 < ns);
            if (kk >= ns) return;
        } while (!behind);
    }
}

void permuteCore(Transform f) {
    const std::int32_t jc = f.plan.squareCount > 0 ? f.plan.spans[f.plan.squareCount + 1] : 1, block = f.plan.spans[f.plan.squareCount];
    const std::int32_t* next = f.plan.permutation;
    const auto at = [=](std::int32_t k, std::int32_t offset) { return static_cast<std::int64_t>(k) * jc + offset; };
    for (std::int32_t start = 0; start < f.plan.total; start += block) {
        for (std::int32_t o = start; o < start + jc; ++o) {
            for (std::int32_t k = f.plan.permutationTop; k >= 1; --k) {
                if (next[k] < 0) continue;
                const double ak = f.a[at(k, o)], bk = f.b[at(k, o)];
                std::int32_t vacant = k;
                for (std::int32_t v = next[k]; v != k; v = -next[v]) {
                    f.a[at(vacant, o)] = f.a[at(v, o)];
                    f.b[at(vacant, o)] = f.b[at(v, o)];
                    vacant = v;
                }
                f.a[at(vacant, o)] = ak;
                f.b[at(vacant, o)] = bk;
            }
        }
    }
}

void transform(double* a, double* b, FftPlan& plan) {
    const Transform f{a, b, plan};
    plan.jf = 0;
    std::int32_t span = plan.ns;
    for (std::int32_t i = 0; i < plan.factorCount; ++i) {
        span /= plan.factors[i];
        runFactor({a, b, plan.total, span}, plan, plan.factors[i], i + 1 < plan.factorCount ? &plan.turns[i] : nullptr);
    }
    if (plan.squareCount > 0) permuteSquares(f);
    if (plan.freeCount > 1) permuteCore(f);
    if (plan.direction != 0) return;
    const double scale = 1.0 / static_cast<double>(plan.length);
    for (std::int32_t i = 0; i < plan.total; ++i) {
        a[i] = a[i] * scale;
        b[i] = scale * b[i];
    }
}

}  // namespace

}  // namespace zcmds
