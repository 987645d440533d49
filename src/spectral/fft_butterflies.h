// The butterflies: the transform of a factor's few points, in each lane. The order of operations is part of the result.
#pragma once

#include "spectral/fft_engine.h"
#include "spectral/fft_lanes.h"

namespace zcmds {

namespace {

struct Radix2 {
    static constexpr std::int32_t factor = 2, maxFactor = 2;

    ZCMDS_INLINE void transform(ComplexLanes* x) const {
        const ComplexLanes first = x[0], second = x[1];
        x[0] = {first.re + second.re, first.im + second.im};
        x[1] = {first.re - second.re, first.im - second.im};
    }
};

struct Radix3 {
    static constexpr std::int32_t factor = 3, maxFactor = 3;
    double s120;

    ZCMDS_INLINE void transform(ComplexLanes* x) const {
        const Lanes ajSum = x[1].re + x[2].re, bjSum = x[1].im + x[2].im;
        const Lanes ak = x[0].re - ajSum * 0.5, bk = x[0].im - bjSum * 0.5;
        const Lanes aj = (x[1].re - x[2].re) * s120, bj = (x[1].im - x[2].im) * s120;
        x[0] = {x[0].re + ajSum, x[0].im + bjSum};
        x[1] = {ak - bj, bk + aj};
        x[2] = {ak + bj, bk - aj};
    }
};

template <bool reverse>
struct Radix4 {
    static constexpr std::int32_t factor = 4, maxFactor = 4;

    ZCMDS_INLINE void transform(ComplexLanes* x) const {
        const Lanes akp = x[0].re + x[2].re, akm = x[0].re - x[2].re, ajp = x[1].re + x[3].re, ajm = x[1].re - x[3].re;
        const Lanes bkp = x[0].im + x[2].im, bkm = x[0].im - x[2].im, bjp = x[1].im + x[3].im, bjm = x[1].im - x[3].im;
        x[0] = {ajp + akp, bjp + bkp};
        x[2] = {akp - ajp, bkp - bjp};
        x[reverse ? 3 : 1] = {akm + bjm, bkm - ajm};
        x[reverse ? 1 : 3] = {akm - bjm, bkm + ajm};
    }
};

struct Radix5 {
    static constexpr std::int32_t factor = 5, maxFactor = 5;
    double c72, s72, c144, s144;

    ZCMDS_INLINE void transform(ComplexLanes* x) const {
        const Lanes akp = x[1].re + x[4].re, akm = x[1].re - x[4].re, bkp = x[1].im + x[4].im, bkm = x[1].im - x[4].im;
        const Lanes ajp = x[2].re + x[3].re, ajm = x[2].re - x[3].re, bjp = x[2].im + x[3].im, bjm = x[2].im - x[3].im;
        const ComplexLanes zero = x[0];
        x[0] = {zero.re + akp + ajp, zero.im + bkp + bjp};
        const Lanes ak1 = akp * c72 + ajp * c144 + zero.re, bk1 = bkp * c72 + bjp * c144 + zero.im;
        const Lanes aj1 = akm * s72 + ajm * s144, bj1 = bkm * s72 + bjm * s144;
        x[1] = {ak1 - bj1, bk1 + aj1};
        x[4] = {ak1 + bj1, bk1 - aj1};
        const Lanes ak2 = akp * c144 + ajp * c72 + zero.re, bk2 = bkp * c144 + bjp * c72 + zero.im;
        const Lanes aj2 = akm * s144 - ajm * s72, bj2 = bkm * s144 - bjm * s72;
        x[2] = {ak2 - bj2, bk2 + aj2};
        x[3] = {ak2 + bj2, bk2 - aj2};
    }
};

// Any odd factor, up to `maxFactor`, with the cosines and sines of the multiples of a full turn divided by it.
template <std::int32_t maxFactor>
ZCMDS_INLINE void transformOdd(ComplexLanes* x, std::int32_t factor, const double* ck, const double* sk) {
    ComplexLanes sums[maxFactor / 2], differences[maxFactor / 2];
    const ComplexLanes zero = x[0];
    const std::int32_t half = factor / 2;
    for (std::int32_t p = 0; p < half; ++p) {
        const ComplexLanes low = x[p + 1], high = x[factor - 1 - p];
        sums[p] = {high.re + low.re, low.im + high.im};
        differences[p] = {low.re - high.re, low.im - high.im};
        x[0] = {x[0].re + sums[p].re, x[0].im + sums[p].im};
    }
    for (std::int32_t j = 0; j < half; ++j) {
        ComplexLanes even = zero, odd{};
        std::int32_t angle = j;
        for (std::int32_t p = 0; p < half; ++p) {
            even = {even.re + ck[angle] * sums[p].re, even.im + ck[angle] * sums[p].im};
            odd = {odd.re + sk[angle] * differences[p].re, odd.im + sk[angle] * differences[p].im};
            angle += j + 1;
            if (angle >= factor) angle -= factor;
        }
        x[j + 1] = {even.re - odd.im, even.im + odd.re};
        x[factor - 1 - j] = {even.re + odd.im, even.im - odd.re};
    }
}

// The smallest is frequent enough to have its loops unrolled; it fits into the registers.
struct Radix7 {
    static constexpr std::int32_t factor = 7, maxFactor = 7;
    const double* ck;
    const double* sk;

    ZCMDS_INLINE void transform(ComplexLanes* x) const { transformOdd<maxFactor>(x, factor, ck, sk); }
};

struct RadixOdd {
    static constexpr std::int32_t maxFactor = fftMaxFactor;
    std::int32_t factor;
    const double* ck;
    const double* sk;

    [[gnu::noinline]] void transform(ComplexLanes* x) const { transformOdd<maxFactor>(x, factor, ck, sk); }
};

}  // namespace

}  // namespace zcmds
