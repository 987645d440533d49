// The rotation recurrence, for doubles and for lanes.
#pragma once

#include "spectral/fft_engine.h"
#include "spectral/fft_lanes.h"

namespace zcmds {

namespace {

// Rotates (c, s), a point on the unit circle, by the stage's step. The first-order correction keeps it on the circle.
template <class Value>
ZCMDS_INLINE void nextTwiddle(const FftTwiddles& twiddles, Value& c, Value& s) {
    const Value t = c - (twiddles.cd * c + twiddles.sd * s);
    const Value u = s + (twiddles.sd * c - twiddles.cd * s);
    const Value correction = 2.0 - (t * t + u * u);
    c = correction * t;
    s = correction * u;
}

// Eight runs of a stage's recurrence side by side: run r continues from twiddle r * interval.
class TwiddleRuns {
 public:
    ZCMDS_INLINE explicit TwiddleRuns(const FftTwiddles& twiddles)
        : twiddles_(twiddles), c_(load<Lanes>(twiddles.c)), s_(load<Lanes>(twiddles.s)) {
        step(0);
        // Twiddle 1 need not be what the recurrence makes of twiddle 0.
        setFirst(c_, twiddles.c1);
        setFirst(s_, twiddles.s1);
        for (int i = 1; i < laneCount; ++i) step(i);
    }

    // Makes the last eight twiddles of each run readable.
    ZCMDS_INLINE void publish() {
        transpose(cosines_);
        transpose(sines_);
        for (int r = 0; r < laneCount; ++r) {
            store(c[r], cosines_[r]);
            store(s[r], sines_[r]);
        }
        store(nextC, c_);
        store(nextS, s_);
    }

    // Takes step i of the next eight. Steps depend on each other but on nothing else: in between there is time for the
    // butterflies of what is published.
    ZCMDS_INLINE void step(int i) {
        cosines_[i] = c_;
        sines_[i] = s_;
        nextTwiddle(twiddles_, c_, s_);
    }

    alignas(64) double c[laneCount][laneCount];  // c[r] are the cosines of run r
    alignas(64) double s[laneCount][laneCount];
    alignas(64) double nextC[laneCount];  // what follows in each run
    alignas(64) double nextS[laneCount];

 private:
    const FftTwiddles& twiddles_;
    Lanes c_, s_;
    Lanes cosines_[laneCount], sines_[laneCount];
};

}  // namespace

}  // namespace zcmds
