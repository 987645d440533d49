// Lanes as one vector, for machines that have vectors of this length. For fft_lanes.h alone.
#pragma once

namespace zcmds {

namespace {

using Lanes [[gnu::vector_size(64)]] = double;
using LaneMask [[gnu::vector_size(64)]] = std::int64_t;

ZCMDS_INLINE Lanes join(const HalfLanes& low, const HalfLanes& high) {
    return __builtin_shufflevector(low, high, 0, 1, 2, 3, 4, 5, 6, 7);
}
ZCMDS_INLINE LaneMask join(const HalfMask& low, const HalfMask& high) {
    return __builtin_shufflevector(low, high, 0, 1, 2, 3, 4, 5, 6, 7);
}
ZCMDS_INLINE HalfLanes lowHalf(const Lanes& lanes) { return __builtin_shufflevector(lanes, lanes, 0, 1, 2, 3); }
ZCMDS_INLINE HalfLanes highHalf(const Lanes& lanes) { return __builtin_shufflevector(lanes, lanes, 4, 5, 6, 7); }

// `x` in the lanes whose mask is set, else `y`.
ZCMDS_INLINE Lanes select(const LaneMask& mask, const Lanes& x, const Lanes& y) { return mask ? x : y; }

ZCMDS_INLINE void setFirst(Lanes& lanes, double x) { lanes[0] = x; }

// In each half on its own: lanes 0 and 2 of both in turns, lanes 1 and 3, lanes 0 and 1 of one and then of the other, lanes 2
// and 3.
ZCMDS_INLINE Lanes evenLanes(const Lanes& x, const Lanes& y) {
    return __builtin_shufflevector(x, y, 0, 8, 2, 10, 4, 12, 6, 14);
}
ZCMDS_INLINE Lanes oddLanes(const Lanes& x, const Lanes& y) {
    return __builtin_shufflevector(x, y, 1, 9, 3, 11, 5, 13, 7, 15);
}
ZCMDS_INLINE Lanes lowPairs(const Lanes& x, const Lanes& y) {
    return __builtin_shufflevector(x, y, 0, 1, 8, 9, 4, 5, 12, 13);
}
ZCMDS_INLINE Lanes highPairs(const Lanes& x, const Lanes& y) {
    return __builtin_shufflevector(x, y, 2, 3, 10, 11, 6, 7, 14, 15);
}

// `next`, then the lanes from the last to lane 1.
ZCMDS_INLINE Lanes reversedAfter(double next, const Lanes& lanes) {
    return __builtin_shufflevector(lanes, Lanes{} + next, 8, 7, 6, 5, 4, 3, 2, 1);
}

}  // namespace

}  // namespace zcmds
