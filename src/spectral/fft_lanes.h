// Eight doubles side by side, and the ways in which butterflies take their elements from memory. The arithmetic of a lane is
// that of a double, whatever vector registers the machine has.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

// Functions that return lanes are inlined without exception, so that it does not matter how they would return them.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace zcmds {

namespace {

constexpr std::int32_t laneCount = 8;

using Lanes [[gnu::vector_size(64)]] = double;
using HalfLanes [[gnu::vector_size(32)]] = double;
using QuarterLanes [[gnu::vector_size(16)]] = double;
using LaneMask [[gnu::vector_size(64)]] = std::int64_t;

// Everything that handles lanes is inlined into the functions that are built for several instruction sets: a call between
// them would pass lanes differently in each.
#define ZCMDS_INLINE [[gnu::always_inline]] inline

template <class Integer>
ZCMDS_INLINE constexpr Integer lesser(Integer x, Integer y) {
    return x < y ? x : y;
}

// A complex number in each lane.
struct Points {
    Lanes re, im;
};

// A rotation in each lane: cosine and sine.
struct Turns {
    Lanes c, s;
};

ZCMDS_INLINE Lanes loadLanes(const double* from) {
    Lanes lanes;
    std::memcpy(&lanes, from, sizeof lanes);
    return lanes;
}

ZCMDS_INLINE void storeLanes(double* to, Lanes lanes) { std::memcpy(to, &lanes, sizeof lanes); }

ZCMDS_INLINE Lanes joinHalves(const double* low, const double* high) {
    HalfLanes first, second;
    std::memcpy(&first, low, sizeof first);
    std::memcpy(&second, high, sizeof second);
    return __builtin_shufflevector(first, second, 0, 1, 2, 3, 4, 5, 6, 7);
}

ZCMDS_INLINE void storeHalves(double* low, double* high, Lanes lanes) {
    const HalfLanes first = __builtin_shufflevector(lanes, lanes, 0, 1, 2, 3);
    const HalfLanes second = __builtin_shufflevector(lanes, lanes, 4, 5, 6, 7);
    std::memcpy(low, &first, sizeof first);
    std::memcpy(high, &second, sizeof second);
}

ZCMDS_INLINE Lanes select(LaneMask mask, Lanes yes, Lanes no) { return mask ? yes : no; }

ZCMDS_INLINE Points rotated(Points x, Turns turn) {
    return {turn.c * x.re - turn.s * x.im, turn.s * x.re + turn.c * x.im};
}

// In both halves on their own, the rows r[0], r[1], r[2], r[3] become columns.
ZCMDS_INLINE void transposeHalves(Lanes* r) {
    const Lanes t0 = __builtin_shufflevector(r[0], r[1], 0, 8, 2, 10, 4, 12, 6, 14);
    const Lanes t1 = __builtin_shufflevector(r[0], r[1], 1, 9, 3, 11, 5, 13, 7, 15);
    const Lanes t2 = __builtin_shufflevector(r[2], r[3], 0, 8, 2, 10, 4, 12, 6, 14);
    const Lanes t3 = __builtin_shufflevector(r[2], r[3], 1, 9, 3, 11, 5, 13, 7, 15);
    r[0] = __builtin_shufflevector(t0, t2, 0, 1, 8, 9, 4, 5, 12, 13);
    r[1] = __builtin_shufflevector(t1, t3, 0, 1, 8, 9, 4, 5, 12, 13);
    r[2] = __builtin_shufflevector(t0, t2, 2, 3, 10, 11, 6, 7, 14, 15);
    r[3] = __builtin_shufflevector(t1, t3, 2, 3, 10, 11, 6, 7, 14, 15);
}

// Rows become columns.
ZCMDS_INLINE void transpose(Lanes (&r)[laneCount]) {
    transposeHalves(r);
    transposeHalves(r + 4);
    for (int i = 0; i < 4; ++i) {
        const Lanes low = r[i], high = r[i + 4];
        r[i] = __builtin_shufflevector(low, high, 0, 1, 2, 3, 8, 9, 10, 11);
        r[i + 4] = __builtin_shufflevector(low, high, 4, 5, 6, 7, 12, 13, 14, 15);
    }
}

// Two to four elements in the first lanes; the other lanes hold what does not matter. Three are taken and given as two pairs
// that overlap, so that nothing beyond them is touched.
template <int count>
ZCMDS_INLINE HalfLanes loadHalfRow(const double* from) {
    if constexpr (count == 4) {
        HalfLanes row;
        std::memcpy(&row, from, sizeof row);
        return row;
    } else {
        QuarterLanes low, high;
        std::memcpy(&low, from, sizeof low);
        std::memcpy(&high, from + count - 2, sizeof high);
        return __builtin_shufflevector(low, high, 0, 1, 3, 3);
    }
}

template <int count>
ZCMDS_INLINE void storeHalfRow(double* to, HalfLanes row) {
    if constexpr (count == 4) {
        std::memcpy(to, &row, sizeof row);
    } else {
        const QuarterLanes low = __builtin_shufflevector(row, row, 0, 1);
        const QuarterLanes high = __builtin_shufflevector(row, row, count - 2, count - 1);
        std::memcpy(to, &low, sizeof low);
        std::memcpy(to + count - 2, &high, sizeof high);
    }
}

template <int count>
ZCMDS_INLINE Lanes joinRows(const double* low, const double* high) {
    return __builtin_shufflevector(loadHalfRow<count>(low), loadHalfRow<count>(high), 0, 1, 2, 3, 4, 5, 6, 7);
}

template <int count>
ZCMDS_INLINE void storeRows(double* low, double* high, Lanes rows) {
    storeHalfRow<count>(low, __builtin_shufflevector(rows, rows, 0, 1, 2, 3));
    storeHalfRow<count>(high, __builtin_shufflevector(rows, rows, 4, 5, 6, 7));
}

// Five to eight elements, as two fours that overlap.
template <int count>
ZCMDS_INLINE Lanes loadRow(const double* from) {
    constexpr int behind = 12 - count;  // where element 4 is in the two fours
    return __builtin_shufflevector(loadHalfRow<4>(from), loadHalfRow<4>(from + count - 4), 0, 1, 2, 3, behind,
                                   lesser(behind + 1, 7), lesser(behind + 2, 7), 7);
}

template <int count>
ZCMDS_INLINE void storeRow(double* to, Lanes row) {
    storeHalfRow<4>(to, __builtin_shufflevector(row, row, 0, 1, 2, 3));
    storeHalfRow<4>(to + count - 4, __builtin_shufflevector(row, row, count - 4, count - 3, count - 2, count - 1));
}

// Element p of each of eight butterflies that lie side by side.
struct ColumnAccess {
    double* a;
    double* b;
    std::ptrdiff_t span;  // from element p to p + 1

    ZCMDS_INLINE Points load(std::ptrdiff_t p) const { return {loadLanes(a + p * span), loadLanes(b + p * span)}; }
    ZCMDS_INLINE void store(std::ptrdiff_t p, Points x) const {
        storeLanes(a + p * span, x.re);
        storeLanes(b + p * span, x.im);
    }
};

// Element p of four butterflies side by side in one group and of four in another.
struct PairAccess {
    double* a;
    double* b;
    std::ptrdiff_t span;
    std::ptrdiff_t other;  // from the first group to the other

    ZCMDS_INLINE Points load(std::ptrdiff_t p) const {
        const double* re = a + p * span;
        const double* im = b + p * span;
        return {joinHalves(re, re + other), joinHalves(im, im + other)};
    }
    ZCMDS_INLINE void store(std::ptrdiff_t p, Points x) const {
        double* re = a + p * span;
        double* im = b + p * span;
        storeHalves(re, re + other, x.re);
        storeHalves(im, im + other, x.im);
    }
};

// Element p of two butterflies side by side in each of four groups.
struct FourGroupsAccess {
    double* a;
    double* b;
    std::ptrdiff_t span;
    const std::ptrdiff_t* first;  // where each group's element 0 lies

    ZCMDS_INLINE HalfLanes joinPairs(const double* low, const double* high) const {
        QuarterLanes x, y;
        std::memcpy(&x, low, sizeof x);
        std::memcpy(&y, high, sizeof y);
        return __builtin_shufflevector(x, y, 0, 1, 2, 3);
    }
    ZCMDS_INLINE Lanes gather(const double* from) const {
        return __builtin_shufflevector(joinPairs(from + first[0], from + first[1]),
                                       joinPairs(from + first[2], from + first[3]), 0, 1, 2, 3, 4, 5, 6, 7);
    }
    ZCMDS_INLINE void scatter(double* to, Lanes lanes) const {
        const QuarterLanes pairs[4] = {
            __builtin_shufflevector(lanes, lanes, 0, 1), __builtin_shufflevector(lanes, lanes, 2, 3),
            __builtin_shufflevector(lanes, lanes, 4, 5), __builtin_shufflevector(lanes, lanes, 6, 7)};
        for (int i = 0; i < 4; ++i) std::memcpy(to + first[i], &pairs[i], sizeof pairs[i]);
    }
    ZCMDS_INLINE Points load(std::ptrdiff_t p) const { return {gather(a + p * span), gather(b + p * span)}; }
    ZCMDS_INLINE void store(std::ptrdiff_t p, Points x) const {
        scatter(a + p * span, x.re);
        scatter(b + p * span, x.im);
    }
};

// Element p of eight butterflies that lie anywhere. Two lanes may have the same butterfly: both then hold the same values.
struct ScatteredAccess {
    double* a;
    double* b;
    std::ptrdiff_t span;
    const std::ptrdiff_t* first;  // where each lane's element 0 lies

    ZCMDS_INLINE Lanes gather(const double* from) const {
        return Lanes{from[first[0]], from[first[1]], from[first[2]], from[first[3]],
                     from[first[4]], from[first[5]], from[first[6]], from[first[7]]};
    }
    ZCMDS_INLINE void scatter(double* to, Lanes lanes) const {
        for (int i = 0; i < laneCount; ++i) to[first[i]] = lanes[i];
    }
    ZCMDS_INLINE Points load(std::ptrdiff_t p) const { return {gather(a + p * span), gather(b + p * span)}; }
    ZCMDS_INLINE void store(std::ptrdiff_t p, Points x) const {
        scatter(a + p * span, x.re);
        scatter(b + p * span, x.im);
    }
};

}  // namespace

}  // namespace zcmds
