// The ways in which eight butterflies at a time load their elements from memory and store them. Element p of a butterfly
// is p * span after its element 0.
#pragma once

#include "spectral/fft_lanes.h"

namespace zcmds {

namespace {

// Eight butterflies side by side.
struct SideBySide {
    double* a;
    double* b;
    std::ptrdiff_t span;

    ZCMDS_INLINE ComplexLanes get(std::ptrdiff_t p) const {
        return {load<Lanes>(a + p * span), load<Lanes>(b + p * span)};
    }
    ZCMDS_INLINE void put(std::ptrdiff_t p, const ComplexLanes& x) const {
        store(a + p * span, x.re);
        store(b + p * span, x.im);
    }
};

// Four butterflies side by side in one group and four in another.
struct TwoGroups {
    double* a;
    double* b;
    std::ptrdiff_t span;
    std::ptrdiff_t other;  // from the first group to the other

    ZCMDS_INLINE Lanes gather(const double* from) const {
        return join(load<HalfLanes>(from), load<HalfLanes>(from + other));
    }
    ZCMDS_INLINE void scatter(double* to, const Lanes& lanes) const {
        store(to, lowHalf(lanes));
        store(to + other, highHalf(lanes));
    }
    ZCMDS_INLINE ComplexLanes get(std::ptrdiff_t p) const { return {gather(a + p * span), gather(b + p * span)}; }
    ZCMDS_INLINE void put(std::ptrdiff_t p, const ComplexLanes& x) const {
        scatter(a + p * span, x.re);
        scatter(b + p * span, x.im);
    }
};

// Two butterflies side by side in each of four groups, or one in each of eight. A group may be there twice: both then give
// the same.
template <int count>
struct ManyGroups {
    double* a;
    double* b;
    std::ptrdiff_t span;
    std::ptrdiff_t first[count];  // element 0 of each group's first butterfly

    ZCMDS_INLINE Lanes gather(const double* x) const {
        if constexpr (count == 4)
            return join(join(load<QuarterLanes>(x + first[0]), load<QuarterLanes>(x + first[1])),
                        join(load<QuarterLanes>(x + first[2]), load<QuarterLanes>(x + first[3])));
        else
            return join(HalfLanes{x[first[0]], x[first[1]], x[first[2]], x[first[3]]},
                        HalfLanes{x[first[4]], x[first[5]], x[first[6]], x[first[7]]});
    }
    ZCMDS_INLINE void scatter(double* x, const Lanes& lanes) const {
        if constexpr (count == 4) {
            store(x + first[0], lowHalf(lowHalf(lanes)));
            store(x + first[1], highHalf(lowHalf(lanes)));
            store(x + first[2], lowHalf(highHalf(lanes)));
            store(x + first[3], highHalf(highHalf(lanes)));
        } else {
            for (int i = 0; i < count; ++i) x[first[i]] = lanes[i];
        }
    }
    ZCMDS_INLINE ComplexLanes get(std::ptrdiff_t p) const { return {gather(a + p * span), gather(b + p * span)}; }
    ZCMDS_INLINE void put(std::ptrdiff_t p, const ComplexLanes& x) const {
        scatter(a + p * span, x.re);
        scatter(b + p * span, x.im);
    }
};

}  // namespace

}  // namespace zcmds
