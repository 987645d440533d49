// One stage of the transform: the butterflies of one factor over all groups. Output p of the butterfly at offset j of its
// group is multiplied by the p-th power of the stage's twiddle j; offset 0 is not.
#pragma once

#include "spectral/fft_access.h"
#include "spectral/fft_butterflies.h"
#include "spectral/fft_rotation.h"

namespace zcmds {

namespace {

// Elements [0, length) of two arrays, in groups of factor * span; the butterflies of a group lie at offsets below span.
struct StageArea {
    double* a;
    double* b;
    std::int32_t length;
    std::int32_t span;
};

// What becomes of a butterfly's outputs: nothing,
struct Plain {
    ZCMDS_INLINE ComplexLanes operator()(std::int32_t /*p*/, const ComplexLanes& x) const { return x; }
};

// scaled,
struct Scaled {
    double scale;

    ZCMDS_INLINE ComplexLanes operator()(std::int32_t /*p*/, const ComplexLanes& x) const {
        return {x.re * scale, x.im * scale};
    }
};

// rotated,
template <class Kernel>
struct Rotated {
    Twiddles powers[Kernel::maxFactor];

    ZCMDS_INLINE Rotated(const Kernel& kernel, const Twiddles& twiddle) {
        powers[1] = twiddle;
        for (std::int32_t p = 2; p < kernel.factor; ++p) {
            const Twiddles last = powers[p - 1];
            powers[p] = {last.c * twiddle.c - last.s * twiddle.s, last.s * twiddle.c + twiddle.s * last.c};
        }
    }
    ZCMDS_INLINE ComplexLanes operator()(std::int32_t p, const ComplexLanes& x) const {
        return p == 0 ? x : rotated(x, powers[p]);
    }
};

// or rotated in the lanes whose mask is set.
template <class Kernel>
struct RotatedInSome {
    Rotated<Kernel> twiddles;
    LaneMask mask;

    ZCMDS_INLINE RotatedInSome(const Kernel& kernel, const Twiddles& twiddle, const LaneMask& lanes)
        : twiddles(kernel, twiddle), mask(lanes) {}
    ZCMDS_INLINE ComplexLanes operator()(std::int32_t p, const ComplexLanes& x) const {
        if (p == 0) return x;
        const ComplexLanes y = twiddles(p, x);
        return {select(mask, y.re, x.re), select(mask, y.im, x.im)};
    }
};

template <class Kernel, class Access, class Finish>
ZCMDS_INLINE void butterfly(const Kernel& kernel, const Access& access, const Finish& finish) {
    ComplexLanes x[Kernel::maxFactor];
    for (std::int32_t p = 0; p < kernel.factor; ++p) x[p] = access.get(p);
    kernel.transform(x);
    for (std::int32_t p = 0; p < kernel.factor; ++p) access.put(p, finish(p, x[p]));
}

// `offset` and the seven after it, in every group.
template <class Kernel, class Finish>
ZCMDS_INLINE void runEachGroup(StageArea area, const Kernel& kernel, std::int32_t offset, const Finish& finish) {
    const std::ptrdiff_t group = std::ptrdiff_t{area.span} * kernel.factor;
    for (std::ptrdiff_t at = offset; at < area.length; at += group)
        butterfly(kernel, SideBySide{area.a + at, area.b + at, area.span}, finish);
}

// `offset` and the three after it, two groups at a time; an odd last group is processed twice.
template <class Kernel, class Finish>
ZCMDS_INLINE void runGroupPairs(StageArea area, const Kernel& kernel, std::int32_t offset, const Finish& finish) {
    const std::ptrdiff_t group = std::ptrdiff_t{area.span} * kernel.factor;
    for (std::ptrdiff_t at = offset; at < area.length; at += 2 * group)
        butterfly(kernel, TwoGroups{area.a + at, area.b + at, area.span, at + group < area.length ? group : 0}, finish);
}

// `offset`, and with four groups at a time the one after it. The last group fills up the last four or eight.
template <int count, class Kernel, class Finish>
ZCMDS_INLINE void runGroups(StageArea area, const Kernel& kernel, std::int32_t offset, const Finish& finish) {
    const std::ptrdiff_t group = std::ptrdiff_t{area.span} * kernel.factor, last = area.length - group + offset;
    ManyGroups<count> access{area.a, area.b, area.span, {}};
    for (std::ptrdiff_t at = offset; at <= last; at += count * group) {
        for (std::ptrdiff_t i = 0; i < count; ++i) access.first[i] = min(at + i * group, last);
        butterfly(kernel, access, finish);
    }
}

template <class Kernel>
ZCMDS_INLINE void runEight(StageArea area, const Kernel& kernel, std::int32_t offset, const Twiddles& twiddle) {
    if (offset == 0)
        runEachGroup(area, kernel, offset,
                     RotatedInSome(kernel, twiddle, join(HalfMask{0, -1, -1, -1}, HalfMask{-1, -1, -1, -1})));
    else
        runEachGroup(area, kernel, offset, Rotated(kernel, twiddle));
}

template <class Kernel>
ZCMDS_INLINE void runFour(StageArea area, const Kernel& kernel, std::int32_t offset, const double* c, const double* s) {
    const HalfLanes cosines = load<HalfLanes>(c), sines = load<HalfLanes>(s);
    const std::int64_t first = offset == 0 ? 0 : -1;
    const HalfMask mask{first, -1, -1, -1};
    runGroupPairs(area, kernel, offset,
                  RotatedInSome(kernel, Twiddles{join(cosines, cosines), join(sines, sines)}, join(mask, mask)));
}

template <class Kernel>
ZCMDS_INLINE void runTwo(StageArea area, const Kernel& kernel, std::int32_t offset, const double* c, const double* s) {
    const HalfLanes cosines{c[0], c[1], c[0], c[1]}, sines{s[0], s[1], s[0], s[1]};
    const std::int64_t first = offset == 0 ? 0 : -1;
    const HalfMask mask{first, -1, first, -1};
    runGroups<4>(area, kernel, offset,
                 RotatedInSome(kernel, Twiddles{join(cosines, cosines), join(sines, sines)}, join(mask, mask)));
}

template <class Kernel>
ZCMDS_INLINE void runOne(StageArea area, const Kernel& kernel, std::int32_t offset, double c, double s) {
    if (offset == 0)
        runGroups<8>(area, kernel, offset, Plain{});
    else
        runGroups<8>(area, kernel, offset, Rotated(kernel, Twiddles{broadcast(c), broadcast(s)}));
}

// Offsets from `first` to `end`, with the twiddles from that of `first` on.
template <class Kernel>
[[gnu::noinline]] void runOffsets(StageArea area, const Kernel& kernel, std::int32_t first, std::int32_t end,
                                  const double* c, const double* s) {
    const std::int32_t count = end - first;
    std::int32_t i = 0;
    for (; i + 8 <= count; i += 8) runEight(area, kernel, first + i, {load<Lanes>(c + i), load<Lanes>(s + i)});
    for (; i + 4 <= count; i += 4) runFour(area, kernel, first + i, c + i, s + i);
    for (; i + 2 <= count; i += 2) runTwo(area, kernel, first + i, c + i, s + i);
    if (i < count) runOne(area, kernel, first + i, c[i], s[i]);
}

// The offsets of a long stage that make no full eight, with their twiddles.
struct RaggedOffsets {
    std::int32_t first, end;
    double c[2 * laneCount], s[2 * laneCount];

    ZCMDS_INLINE void put(std::int32_t offset, double cosine, double sine) {
        c[offset - first] = cosine;
        s[offset - first] = sine;
    }
};

// The eight twiddles of run r, which begin at `offset`.
template <class Kernel>
ZCMDS_INLINE void runTwiddles(StageArea area, const Kernel& kernel, const TwiddleRuns& runs, int r, std::int32_t offset,
                              RaggedOffsets& ragged) {
    if (offset < ragged.first) return runEight(area, kernel, offset, {load<Lanes>(runs.c[r]), load<Lanes>(runs.s[r])});
    for (std::int32_t j = offset; j < min(offset + laneCount, ragged.end); ++j)
        ragged.put(j, runs.c[r][j - offset], runs.s[r][j - offset]);
}

// Eight offsets and their mirror images. The middle of the span is its own image, and its cosine is not negated.
ZCMDS_INLINE void runMirrored(StageArea area, const Radix2& kernel, const TwiddleRuns& runs, int r,
                              std::int32_t offset) {
    const Twiddles twiddle{load<Lanes>(runs.c[r]), load<Lanes>(runs.s[r])};
    runEight(area, kernel, offset, twiddle);
    const std::int32_t image = area.span - offset - laneCount;
    Lanes c = -reversedAfter(runs.nextC[r], twiddle.c);
    const Lanes s = reversedAfter(runs.nextS[r], twiddle.s);
    if (2 * image == area.span) setFirst(c, -c[0]);
    runEachGroup(area, kernel, image, Rotated(kernel, Twiddles{c, s}));
}

// Factor 2 has twiddles up to half the span. Those beyond are their mirror images, with the cosine negated.
ZCMDS_INLINE void runTwiddles(StageArea area, const Radix2& kernel, const TwiddleRuns& runs, int r, std::int32_t offset,
                              RaggedOffsets& ragged) {
    if (offset < ragged.first) return runMirrored(area, kernel, runs, r, offset);
    for (std::int32_t j = offset; j < offset + laneCount && 2 * j <= area.span; ++j) {
        const double c = runs.c[r][j - offset], s = runs.s[r][j - offset];
        if (j > ragged.first) ragged.put(area.span - j, -c, s);
        ragged.put(j, c, s);
    }
}

// All offsets but the ragged ones. The next twiddles are made while butterflies use the last.
template <class Kernel>
ZCMDS_INLINE void runEights(StageArea area, const Kernel& kernel, const FftTwiddles& twiddles, RaggedOffsets& ragged) {
    TwiddleRuns runs(twiddles);
    for (std::int32_t i = 0; i < twiddles.interval; i += laneCount) {
        const bool more = i + laneCount < twiddles.interval;
        runs.publish();
        for (int r = 0; r < laneCount; ++r) {
            const std::int32_t offset = r * twiddles.interval + i;
            if (offset < twiddles.count) runTwiddles(area, kernel, runs, r, offset, ragged);
            if (more) runs.step(r);
        }
    }
}

// A stage that is not the last.
template <class Kernel>
void runStage(StageArea area, const Kernel& kernel, const FftPlan& plan, const FftTwiddles& twiddles) {
    if (twiddles.span <= fftMaxTableSpan)
        return runOffsets(area, kernel, 0, twiddles.span, plan.tableC + twiddles.tableStart,
                          plan.tableS + twiddles.tableStart);
    constexpr bool mirrored = Kernel::maxFactor == 2;
    RaggedOffsets ragged;
    ragged.first = mirrored ? area.span / 16 * 8 : area.span / 8 * 8;
    ragged.end = mirrored ? area.span - ragged.first : area.span;
    runEights(area, kernel, twiddles, ragged);
    runOffsets(area, kernel, ragged.first, ragged.end, ragged.c, ragged.s);
}

}  // namespace

}  // namespace zcmds
