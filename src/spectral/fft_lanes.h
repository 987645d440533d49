// Eight doubles side by side. The arithmetic of a lane is that of a double, whatever vector registers the machine has.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

// Functions that return lanes are inlined without exception, so it does not matter how a call would return them.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace zcmds {

// Unnamed, here and in all headers of the transform: they are built for several instruction sets, and what one of those
// builds leaves as a function must not be taken for that of another.
namespace {

#define ZCMDS_INLINE [[gnu::always_inline]] inline

constexpr std::int32_t laneCount = 8;

using Lanes [[gnu::vector_size(64)]] = double;
using HalfLanes [[gnu::vector_size(32)]] = double;
using QuarterLanes [[gnu::vector_size(16)]] = double;
using LaneMask [[gnu::vector_size(64)]] = std::int64_t;

template <class Integer>
ZCMDS_INLINE constexpr Integer min(Integer x, Integer y) {
    return x < y ? x : y;
}

// A complex number in each lane.
struct ComplexLanes {
    Lanes re, im;
};

// A twiddle factor in each lane: cosine and sine.
struct Twiddles {
    Lanes c, s;
};

ZCMDS_INLINE ComplexLanes rotated(const ComplexLanes& x, const Twiddles& twiddle) {
    return {twiddle.c * x.re - twiddle.s * x.im, twiddle.s * x.re + twiddle.c * x.im};
}

ZCMDS_INLINE Lanes broadcast(double x) { return Lanes{} + x; }

// As many neighbours as the type has.
template <class Vector>
ZCMDS_INLINE Vector load(const double* from) {
    Vector vector;
    std::memcpy(&vector, from, sizeof vector);
    return vector;
}

template <class Vector>
ZCMDS_INLINE void store(double* to, const Vector& vector) {
    std::memcpy(to, &vector, sizeof vector);
}

ZCMDS_INLINE Lanes join(const HalfLanes& low, const HalfLanes& high) {
    return __builtin_shufflevector(low, high, 0, 1, 2, 3, 4, 5, 6, 7);
}
ZCMDS_INLINE HalfLanes join(const QuarterLanes& low, const QuarterLanes& high) {
    return __builtin_shufflevector(low, high, 0, 1, 2, 3);
}
ZCMDS_INLINE HalfLanes lowHalf(const Lanes& lanes) { return __builtin_shufflevector(lanes, lanes, 0, 1, 2, 3); }
ZCMDS_INLINE HalfLanes highHalf(const Lanes& lanes) { return __builtin_shufflevector(lanes, lanes, 4, 5, 6, 7); }
ZCMDS_INLINE QuarterLanes lowHalf(const HalfLanes& lanes) { return __builtin_shufflevector(lanes, lanes, 0, 1); }
ZCMDS_INLINE QuarterLanes highHalf(const HalfLanes& lanes) { return __builtin_shufflevector(lanes, lanes, 2, 3); }

// `count` neighbours in the first lanes, two to four of HalfLanes and five to eight of Lanes; what the other lanes hold
// does not matter. A count that fills no vector is loaded and stored in two parts that overlap, so that nothing else is
// touched.
template <int count>
ZCMDS_INLINE auto loadRow(const double* from) {
    if constexpr (count == 4) {
        return load<HalfLanes>(from);
    } else if constexpr (count < 4) {
        return __builtin_shufflevector(load<QuarterLanes>(from), load<QuarterLanes>(from + count - 2), 0, 1, 3, 3);
    } else {
        constexpr int fifth = 12 - count;  // where element 4 is in the two parts
        return __builtin_shufflevector(load<HalfLanes>(from), load<HalfLanes>(from + count - 4), 0, 1, 2, 3, fifth,
                                       min(fifth + 1, 7), min(fifth + 2, 7), 7);
    }
}

template <int count>
ZCMDS_INLINE void storeRow(double* to, const HalfLanes& row) {
    if constexpr (count == 4) return store(to, row);
    store(to, lowHalf(row));
    store<QuarterLanes>(to + count - 2, __builtin_shufflevector(row, row, count - 2, count - 1));
}

template <int count>
ZCMDS_INLINE void storeRow(double* to, const Lanes& row) {
    store(to, lowHalf(row));
    store<HalfLanes>(to + count - 4, __builtin_shufflevector(row, row, count - 4, count - 3, count - 2, count - 1));
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
        r[i] = join(lowHalf(low), lowHalf(high));
        r[i + 4] = join(highHalf(low), highHalf(high));
    }
}

}  // namespace

}  // namespace zcmds
