// The rotation recurrence, for doubles and for lanes.
#pragma once

#include "spectral/fft_engine.h"
#include "spectral/fft_lanes.h"

namespace zcmds {

namespace {

// Turns (c, s), a point on the unit circle, by the stage's step. The first-order correction keeps it on the circle.
template <class Value>
ZCMDS_INLINE void advanceTurn(const FftTurns& turns, Value& c, Value& s) {
    const Value t = c - (turns.cd * c + turns.sd * s);
    const Value u = s + (turns.sd * c - turns.cd * s);
    const Value correction = 2.0 - (t * t + u * u);
    c = correction * t;
    s = correction * u;
}

// Eight runs of a stage's recurrence side by side: run r goes on from turn r * interval.
class TurnRuns {
 public:
    ZCMDS_INLINE explicit TurnRuns(const FftTurns& turns)
        : turns_(turns), c_(load<Lanes>(turns.c)), s_(load<Lanes>(turns.s)) {
        step(0);
        // Turn 1 need not be what the recurrence makes of turn 0.
        c_[0] = turns.c1;
        s_[0] = turns.s1;
        for (int i = 1; i < laneCount; ++i) step(i);
    }

    // Makes the eight turns of each run that were stepped through readable.
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
        advanceTurn(turns_, c_, s_);
    }

    alignas(64) double c[laneCount][laneCount];  // c[r] are the cosines of run r
    alignas(64) double s[laneCount][laneCount];
    alignas(64) double nextC[laneCount];  // what follows in each run
    alignas(64) double nextS[laneCount];

 private:
    const FftTurns& turns_;
    Lanes c_, s_;
    Lanes cosines_[laneCount], sines_[laneCount];
};

}  // namespace

}  // namespace zcmds
