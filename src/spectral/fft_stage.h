// One stage of the transform: the butterflies of one factor over all groups, each output turned by a power of the turn that
// belongs to the butterfly's offset in its group. Offset 0 is not turned.
#pragma once

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

enum class Rotation { none, butFirst, all };  // butFirst: lanes whose mask is set

template <class Kernel>
struct PowersOf {
    Turns power[Kernel::most - 1];

    ZCMDS_INLINE PowersOf(const Kernel& kernel, Turns turn) {
        power[0] = turn;
        for (std::int32_t p = 1; p < kernel.factor - 1; ++p) {
            const Turns last = power[p - 1];
            power[p] = {last.c * turn.c - last.s * turn.s, last.s * turn.c + turn.s * last.c};
        }
    }
};

// The last stage turns nothing; what it gives is final and is scaled.
template <class Kernel, class Access>
ZCMDS_INLINE void lastButterfly(const Kernel& kernel, Access at, double scale) {
    Points x[Kernel::most];
    for (std::int32_t p = 0; p < kernel.factor; ++p) x[p] = at.load(p);
    kernel.transform(x);
    for (std::int32_t p = 0; p < kernel.factor; ++p) at.store(p, {x[p].re * scale, x[p].im * scale});
}

template <Rotation rotation, class Kernel, class Access>
ZCMDS_INLINE void butterfly(const Kernel& kernel, Access at, const PowersOf<Kernel>& powers, LaneMask mask = LaneMask{}) {
    Points x[Kernel::most];
    for (std::int32_t p = 0; p < kernel.factor; ++p) x[p] = at.load(p);
    kernel.transform(x);
    at.store(0, x[0]);
    for (std::int32_t p = 1; p < kernel.factor; ++p) {
        Points y = x[p];
        if constexpr (rotation != Rotation::none) y = rotated(x[p], powers.power[p - 1]);
        if constexpr (rotation == Rotation::butFirst) y = {select(mask, y.re, x[p].re), select(mask, y.im, x[p].im)};
        at.store(p, y);
    }
}

// Eight offsets from `offset` on, in every group.
template <Rotation rotation, class Kernel>
ZCMDS_INLINE void runColumns(StageArea area, const Kernel& kernel, std::int32_t offset, Turns turn) {
    const PowersOf<Kernel> powers(kernel, turn);
    const std::ptrdiff_t group = std::ptrdiff_t{area.span} * kernel.factor;
    for (std::ptrdiff_t at = offset; at < area.length; at += group)
        butterfly<rotation>(kernel, ColumnAccess{area.a + at, area.b + at, area.span}, powers,
                            LaneMask{0, -1, -1, -1, -1, -1, -1, -1});
}

// Four offsets from `offset` on, two groups at a time; an odd last group is taken twice.
template <class Kernel>
ZCMDS_INLINE void runFourColumns(StageArea area, const Kernel& kernel, std::int32_t offset, Turns turn) {
    const PowersOf<Kernel> powers(kernel, turn);
    const std::ptrdiff_t group = std::ptrdiff_t{area.span} * kernel.factor;
    const std::int64_t first = offset == 0 ? 0 : -1;
    for (std::ptrdiff_t at = offset; at < area.length; at += 2 * group) {
        const PairAccess access{area.a + at, area.b + at, area.span, at + group < area.length ? group : 0};
        butterfly<Rotation::butFirst>(kernel, access, powers, LaneMask{first, -1, -1, -1, first, -1, -1, -1});
    }
}

// Two offsets from `offset` on, four groups at a time; the last group makes the four full.
template <class Kernel>
ZCMDS_INLINE void runTwoColumns(StageArea area, const Kernel& kernel, std::int32_t offset, const double* c,
                                const double* s) {
    const PowersOf<Kernel> powers(kernel, {Lanes{c[0], c[1], c[0], c[1], c[0], c[1], c[0], c[1]},
                                           Lanes{s[0], s[1], s[0], s[1], s[0], s[1], s[0], s[1]}});
    const std::ptrdiff_t group = std::ptrdiff_t{area.span} * kernel.factor, last = area.length - group + offset;
    const std::int64_t mask = offset == 0 ? 0 : -1;
    for (std::ptrdiff_t at = offset; at <= last; at += 4 * group) {
        std::ptrdiff_t first[4];
        for (std::ptrdiff_t i = 0; i < 4; ++i) first[i] = lesser(at + i * group, last);
        butterfly<Rotation::butFirst>(kernel, FourGroupsAccess{area.a, area.b, area.span, first}, powers,
                                      LaneMask{mask, -1, mask, -1, mask, -1, mask, -1});
    }
}

// One offset, eight groups at a time; the last group makes the eight full.
template <Rotation rotation, class Kernel>
ZCMDS_INLINE void runColumn(StageArea area, const Kernel& kernel, std::int32_t offset, Turns turn) {
    const PowersOf<Kernel> powers(kernel, turn);
    const std::ptrdiff_t group = std::ptrdiff_t{area.span} * kernel.factor, last = area.length - group + offset;
    for (std::ptrdiff_t at = offset; at <= last; at += laneCount * group) {
        std::ptrdiff_t first[laneCount];
        for (std::ptrdiff_t lane = 0; lane < laneCount; ++lane) first[lane] = lesser(at + lane * group, last);
        butterfly<rotation>(kernel, ScatteredAccess{area.a, area.b, area.span, first}, powers);
    }
}

ZCMDS_INLINE Lanes broadcast(double x) { return Lanes{} + x; }

template <class Kernel>
ZCMDS_INLINE void runOneColumn(StageArea area, const Kernel& kernel, std::int32_t offset, double c, double s) {
    const Turns turn{broadcast(c), broadcast(s)};
    if (offset == 0)
        runColumn<Rotation::none>(area, kernel, offset, turn);
    else
        runColumn<Rotation::all>(area, kernel, offset, turn);
}

// The offsets that make no full eight, with their turns.
struct RaggedColumns {
    std::int32_t first, end;
    double c[2 * laneCount], s[2 * laneCount];

    ZCMDS_INLINE void put(std::int32_t offset, double cosine, double sine) {
        c[offset - first] = cosine;
        s[offset - first] = sine;
    }
};

template <class Kernel>
ZCMDS_INLINE void runEight(StageArea area, const Kernel& kernel, std::int32_t offset, Turns turn) {
    if (offset == 0)
        runColumns<Rotation::butFirst>(area, kernel, offset, turn);
    else
        runColumns<Rotation::all>(area, kernel, offset, turn);
}

// Offsets from `offset` to `end`, with their turns.
template <class Kernel>
ZCMDS_INLINE void runOffsets(StageArea area, const Kernel& kernel, std::int32_t offset, std::int32_t end, const double* c,
                             const double* s) {
    const auto go = [&](std::int32_t count) {
        offset += count;
        c += count;
        s += count;
    };
    for (; offset + 8 <= end; go(8)) runEight(area, kernel, offset, {loadLanes(c), loadLanes(s)});
    for (; offset + 4 <= end; go(4)) runFourColumns(area, kernel, offset, {joinHalves(c, c), joinHalves(s, s)});
    for (; offset + 2 <= end; go(2)) runTwoColumns(area, kernel, offset, c, s);
    if (offset < end) runOneColumn(area, kernel, offset, *c, *s);
}

// Eight turns from `offset` on, of run r.
template <class Kernel>
ZCMDS_INLINE void runTurns(StageArea area, const Kernel& kernel, const TurnRuns& runs, int r, std::int32_t offset,
                           RaggedColumns& ragged) {
    if (offset < ragged.first) {
        runEight(area, kernel, offset, {loadLanes(runs.c[r]), loadLanes(runs.s[r])});
        return;
    }
    for (std::int32_t j = offset; j < lesser(offset + laneCount, ragged.end); ++j)
        ragged.put(j, runs.c[r][j - offset], runs.s[r][j - offset]);
}

// Factor 2 has turns up to half the span. Those beyond are their mirror images, with the cosine negated; the one in the
// middle is its own image and is not.
ZCMDS_INLINE void runTurns(StageArea area, const Radix2& kernel, const TurnRuns& runs, int r, std::int32_t offset,
                           RaggedColumns& ragged) {
    if (offset < ragged.first) {
        const Turns turn{loadLanes(runs.c[r]), loadLanes(runs.s[r])};
        runEight(area, kernel, offset, turn);
        Turns mirror{__builtin_shufflevector(turn.c, broadcast(runs.nextC[r]), 8, 7, 6, 5, 4, 3, 2, 1),
                     __builtin_shufflevector(turn.s, broadcast(runs.nextS[r]), 8, 7, 6, 5, 4, 3, 2, 1)};
        const std::int32_t image = area.span - offset - laneCount;
        mirror.c = -mirror.c;
        if (2 * image == area.span) mirror.c[0] = -mirror.c[0];
        runColumns<Rotation::all>(area, kernel, image, mirror);
        return;
    }
    for (std::int32_t j = offset; j < offset + laneCount && 2 * j <= area.span; ++j) {
        const double c = runs.c[r][j - offset], s = runs.s[r][j - offset];
        if (j > ragged.first) ragged.put(area.span - j, -c, s);
        ragged.put(j, c, s);
    }
}

template <class Kernel>
ZCMDS_INLINE void runLongStage(StageArea area, const Kernel& kernel, const FftTurns& turns) {
    constexpr bool mirrored = Kernel::most == 2;
    RaggedColumns ragged;
    ragged.first = mirrored ? area.span / 16 * 8 : area.span / 8 * 8;
    ragged.end = mirrored ? area.span - ragged.first : area.span;
    TurnRuns runs(turns);
    for (std::int32_t i = 0; i < turns.interval; i += laneCount) {
        const bool more = i + laneCount < turns.interval;
        runs.publish();
        for (int r = 0; r < laneCount; ++r) {
            const std::int32_t offset = r * turns.interval + i;
            if (offset < turns.count) runTurns(area, kernel, runs, r, offset, ragged);
            if (more) runs.step(r);
        }
    }
    runOffsets(area, kernel, ragged.first, ragged.end, ragged.c, ragged.s);
}

template <class Kernel>
void runStage(StageArea area, const Kernel& kernel, const FftPlan& plan, const FftTurns& turns) {
    if (turns.span > fftShortSpan)
        runLongStage(area, kernel, turns);
    else
        runOffsets(area, kernel, 0, turns.span, plan.keptC + turns.kept, plan.keptS + turns.kept);
}

template <class Kernel>
void runLastStage(StageArea area, const Kernel& kernel, double scale) {
    const std::ptrdiff_t group = kernel.factor, last = area.length - group;
    for (std::ptrdiff_t at = 0; at <= last; at += laneCount * group) {
        std::ptrdiff_t first[laneCount];
        for (std::ptrdiff_t lane = 0; lane < laneCount; ++lane) first[lane] = lesser(at + lane * group, last);
        lastButterfly(kernel, ScatteredAccess{area.a, area.b, 1, first}, scale);
    }
}

}  // namespace

}  // namespace zcmds
