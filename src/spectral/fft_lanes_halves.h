// Lanes as two vectors, for machines whose vectors are shorter: compilers keep one that is longer than the machine's in
// memory, and work on it there. What the functions do stands in fft_lanes_whole.h. For fft_lanes.h alone.
#pragma once

namespace zcmds {

namespace {

struct Lanes {
    HalfLanes low, high;

    ZCMDS_INLINE double operator[](int i) const { return i < 4 ? low[i] : high[i - 4]; }
};

struct LaneMask {
    HalfMask low, high;
};

ZCMDS_INLINE Lanes operator-(const Lanes& x) { return {-x.low, -x.high}; }
ZCMDS_INLINE Lanes operator+(const Lanes& x, const Lanes& y) { return {x.low + y.low, x.high + y.high}; }
ZCMDS_INLINE Lanes operator-(const Lanes& x, const Lanes& y) { return {x.low - y.low, x.high - y.high}; }
ZCMDS_INLINE Lanes operator*(const Lanes& x, const Lanes& y) { return {x.low * y.low, x.high * y.high}; }
ZCMDS_INLINE Lanes operator+(const Lanes& x, double y) { return {x.low + y, x.high + y}; }
ZCMDS_INLINE Lanes operator*(const Lanes& x, double y) { return {x.low * y, x.high * y}; }
ZCMDS_INLINE Lanes operator*(double x, const Lanes& y) { return {x * y.low, x * y.high}; }
ZCMDS_INLINE Lanes operator-(double x, const Lanes& y) { return {x - y.low, x - y.high}; }

ZCMDS_INLINE Lanes join(const HalfLanes& low, const HalfLanes& high) { return {low, high}; }
ZCMDS_INLINE LaneMask join(const HalfMask& low, const HalfMask& high) { return {low, high}; }
ZCMDS_INLINE HalfLanes lowHalf(const Lanes& lanes) { return lanes.low; }
ZCMDS_INLINE HalfLanes highHalf(const Lanes& lanes) { return lanes.high; }

template <>
ZCMDS_INLINE Lanes load<Lanes>(const double* from) {
    return {load<HalfLanes>(from), load<HalfLanes>(from + 4)};
}
template <>
ZCMDS_INLINE void store<Lanes>(double* to, const Lanes& lanes) {
    store(to, lanes.low);
    store(to + 4, lanes.high);
}

ZCMDS_INLINE Lanes select(const LaneMask& mask, const Lanes& x, const Lanes& y) {
    return {mask.low ? x.low : y.low, mask.high ? x.high : y.high};
}

ZCMDS_INLINE void setFirst(Lanes& lanes, double x) { lanes.low[0] = x; }

ZCMDS_INLINE HalfLanes evenLanes(const HalfLanes& x, const HalfLanes& y) {
    return __builtin_shufflevector(x, y, 0, 4, 2, 6);
}
ZCMDS_INLINE HalfLanes oddLanes(const HalfLanes& x, const HalfLanes& y) {
    return __builtin_shufflevector(x, y, 1, 5, 3, 7);
}
ZCMDS_INLINE HalfLanes lowPairs(const HalfLanes& x, const HalfLanes& y) { return join(lowHalf(x), lowHalf(y)); }
ZCMDS_INLINE HalfLanes highPairs(const HalfLanes& x, const HalfLanes& y) { return join(highHalf(x), highHalf(y)); }

ZCMDS_INLINE Lanes evenLanes(const Lanes& x, const Lanes& y) {
    return {evenLanes(x.low, y.low), evenLanes(x.high, y.high)};
}
ZCMDS_INLINE Lanes oddLanes(const Lanes& x, const Lanes& y) {
    return {oddLanes(x.low, y.low), oddLanes(x.high, y.high)};
}
ZCMDS_INLINE Lanes lowPairs(const Lanes& x, const Lanes& y) {
    return {lowPairs(x.low, y.low), lowPairs(x.high, y.high)};
}
ZCMDS_INLINE Lanes highPairs(const Lanes& x, const Lanes& y) {
    return {highPairs(x.low, y.low), highPairs(x.high, y.high)};
}

ZCMDS_INLINE Lanes reversedAfter(double next, const Lanes& lanes) {
    return {__builtin_shufflevector(lanes.high, HalfLanes{} + next, 4, 3, 2, 1),
            __builtin_shufflevector(lanes.low, lanes.high, 4, 3, 2, 1)};
}

}  // namespace

}  // namespace zcmds
