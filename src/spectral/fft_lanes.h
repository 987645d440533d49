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

using HalfLanes [[gnu::vector_size(32)]] = double;
using QuarterLanes [[gnu::vector_size(16)]] = double;
using HalfMask [[gnu::vector_size(32)]] = std::int64_t;

template <class Integer>
ZCMDS_INLINE constexpr Integer min(Integer x, Integer y) {
    return x < y ? x : y;
}

// As many neighbours as the vector has.
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

ZCMDS_INLINE HalfLanes join(const QuarterLanes& low, const QuarterLanes& high) {
    return __builtin_shufflevector(low, high, 0, 1, 2, 3);
}
ZCMDS_INLINE QuarterLanes lowHalf(const HalfLanes& lanes) { return __builtin_shufflevector(lanes, lanes, 0, 1); }
ZCMDS_INLINE QuarterLanes highHalf(const HalfLanes& lanes) { return __builtin_shufflevector(lanes, lanes, 2, 3); }

}  // namespace

}  // namespace zcmds

#ifdef ZCMDS_FFT_WHOLE_LANES
#include "spectral/fft_lanes_whole.h"
#else
#include "spectral/fft_lanes_halves.h"
#endif

namespace zcmds {

namespace {

ZCMDS_INLINE Lanes broadcast(double x) { return Lanes{} + x; }

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

// The lanes and, after them, others of which it does not matter what they hold.
ZCMDS_INLINE Lanes widened(const QuarterLanes& lanes) {
    const HalfLanes half = __builtin_shufflevector(lanes, lanes, 0, 1, -1, -1);
    return join(half, half);
}

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
        constexpr int fifth = 8 - count;  // where element 4 is in the second part
        const HalfLanes last = load<HalfLanes>(from + count - 4);
        return join(load<HalfLanes>(from),
                    __builtin_shufflevector(last, last, fifth, min(fifth + 1, 3), min(fifth + 2, 3), 3));
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
    store<HalfLanes>(to + count - 4,
                     __builtin_shufflevector(lowHalf(row), highHalf(row), count - 4, count - 3, count - 2, count - 1));
}

// In both halves on their own, the rows r[0], r[1], r[2], r[3] become columns.
ZCMDS_INLINE void transposeHalves(Lanes* r) {
    const Lanes t0 = evenLanes(r[0], r[1]), t1 = oddLanes(r[0], r[1]);
    const Lanes t2 = evenLanes(r[2], r[3]), t3 = oddLanes(r[2], r[3]);
    r[0] = lowPairs(t0, t2);
    r[1] = lowPairs(t1, t3);
    r[2] = highPairs(t0, t2);
    r[3] = highPairs(t1, t3);
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
