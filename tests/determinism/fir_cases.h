// Filters. FIRFILTER and FIRLOWPASS filter the channels at even places of an even number exactly; the others take stale
// samples into their sums from the second pass on, and how much a pass takes depends on what has come. A pass waits for
// `decimation` new frames, also where fewer would do for an output; so the inputs end with all of those.
#pragma once

#include "tests/determinism/invariants.h"

namespace libzepl {

inline const Cases firCases{
    {"FIRFILTER", R"(
pipe   pairs : TYPE from "samples-2603"
pipe   both  : TYPE
pipe   even  : TYPE to "result"
vector taps  : double = [0.125, -0.25, 0.375, 0.125, 0.125]
FIRFILTER (pairs, 2, taps, 5, 1.0, 2, 1, both)
SKIP (both, 0, 1, 1, even)
)"},
    {"FIRFILTER", R"(
pipe   src   : int16 from "wave-1109"
pipe   mixed : int16 to "varies"
vector taps  : float = [0.125, -0.25, 0.375, 0.125, 0.125]
FIRFILTER (src, taps, 0, 1.0, 3, -1, mixed)
)",
     staleFilterStaysBounded,
     "A pass takes what has come, and from the second on stale samples are in the sums of a stream of one channel."},
    {"FIRLOWPASS", R"(
pipe pairs : TYPE from "samples-2605"
pipe both  : TYPE
pipe even  : TYPE to "result"
FIRLOWPASS (pairs, 2, 3, both)
SKIP (both, 0, 1, 1, even)
)"},
    {"FIRLOWPASS", R"(
pipe src   : int16 from "wave-1306"
pipe pairs : int16
pipe both  : int16
pipe exact : int16 to "result"
pipe mixed : int16 to "varies"
FIRLOWPASS (src, 2, mixed)
REPLICATE (src, 2, pairs)
FIRLOWPASS (pairs, 2, 2, both)
SKIP (both, 0, 1, 1, exact)
)",
     staleLowpassStaysBounded,
     "A pass takes what has come, and from the second on stale samples are in the sums of a stream of one channel."},
    {"MTSFILT", R"(
pipe scan  : int16 from "bits-4003"
pipe each  : int16 to "result"
pipe pairs : int16 to "result"
MTSFILT (scan, 8, 1, each)
MTSFILT (scan, 6, 2, 17, pairs)
)"},
    // Frames so large that they leave one by one, right from the first and with its first outputs made of less.
    {"MTSFILT", R"(
pipe scan : int16 from "bits-9001"
pipe slow : int16 to "result"
pipe fast : int16 to "result"
MTSFILT (scan, 512, 4, fast)
MTSFILT (scan, 128, 16, slow)
)"},
    {"MTSFILT", R"(
pipe scan  : int16 from "bits-9601"
pipe each  : int16 to "result"
pipe third : int16 to "varies"
MTSFILT (scan, 32, 1, each)
MTSFILT (scan, 32, 3, third)
)",
     decimatedFramesAreThoseOfEach,
     "How many frames a pass waits for depends on what is there when it begins, and those of the last are left out."},
};

}  // namespace libzepl
