// Events. Assertions hang on no arrival; how often a status moves does, and what is made of it.
#pragma once

#include "tests/determinism/invariants.h"

namespace libzepl {

inline const Cases eventsCases{
    {"TOGGLE", R"(
pipe     one   : int16 from "wave-1107"
pipe     two   : int16 from "wave-1107"
variable low   : int16 = -500
trigger  alone to "result"
trigger  pair  to "result"
TOGGLE (one, outside, -600, 600, inside, -300, 200, alone)
TOGGLE (one, inside, low, -100, two, inside, 100, 500, pair)
)"},
    {"TOGGWT", R"(
pipe    src    : int16 from "bits-1107"
pipe    stream : int16 to "result"
pipe    heads  : int16 to "result"
pipe    blocks : int16 to "result"
pipe    tags   : int32 to "result"
trigger gate   from "marks-42"
TOGGWT (src, gate, stream)
TOGGWT (src, gate, heads, 40, "FORMAT=BLOCKS SINGLE")
TOGGWT (src, gate, blocks, 20, "FORMAT=BLOCKS SINGLE STAMPED", tags)
)"},
    {"TOGGWT", R"(
pipe    src    : int16 from "bits-1107"
pipe    stream : int16 to "result"
pipe    blocks : int16 to "varies"
pipe    tags   : int32 to "varies"
trigger gate   from "marks-42"
TOGGWT (src, gate, stream)
TOGGWT (src, gate, blocks, 25, "FORMAT=BLOCKS SPANNED STAMPED", tags)
)",
     spannedBlocksAreTheStream,
     "A record of a window that spans several leaves as soon as the status covers enough samples."},
    {"TAND", R"(
trigger one   from "marks-90"
trigger two   from "marks-101"
trigger three from "marks-80"
trigger same  to "result"
trigger near  to "result"
TAND (one, two, near, 10)
TAND (one, two, three, same, 30)
)"},
    {"TOR", R"(
trigger one   from "marks-90"
trigger two   from "marks-101"
trigger three from "marks-80"
trigger any   to "result"
TOR (one, two, three, any)
)"},
    // Beside a stream the assertions come with its samples.
    {"TOR", R"(
pipe    src    : int16 from "wave-1107"
trigger one    from "marks-30"
trigger levels
trigger any    to "result"
TOGGLE (src, outside, -600, 600, inside, -300, 200, levels)
TOR (one, levels, any)
)"},
    {"TCOLLATE", R"(
trigger one   from "marks-90"
trigger two   from "marks-101"
trigger three from "marks-80"
trigger turns to "result"
TCOLLATE (one, two, three, turns)
)"},
    {"NTH", R"(
trigger src   from "marks-203"
trigger third to "result"
NTH (src, 3, third)
)"},
    {"TGEN", R"(
trigger marks to "result" limit 301
trigger every
pipe    times : int32 to "result" limit 100
TGEN (37, marks)
TGEN (1, every)
TSTAMP (every, times)
)"},
    {"TRIGSCALE", R"(
trigger src    from "marks-203"
trigger later  to "result"
trigger halves to "result"
TRIGSCALE (src, 100, 3, 1, later)
TRIGSCALE (src, -60, 1, 2, halves)
)"},
    {"TRIGSCALE", R"(
trigger src    from "marks-203"
trigger scaled to "varies"
TRIGSCALE (src, 5, 2, 30, scaled)
)",
     scaledEventsAreAll,
     "With a `div` of 3 and more a status between two assertions can be before the position of both: then both "
     "pass."},
    {"FREQUENCY", R"(
trigger src    from "marks-203"
pipe    counts : int16 to "result"
pipe    few    : int32 to "result"
FREQUENCY (src, 50, counts)
FREQUENCY (src, 1000, few)
)"},
    {"TSTAMP", R"(
trigger src   from "marks-203"
pipe    times : int32 to "result"
pipe    low   : int16 to "result"
TSTAMP (src, times)
TSTAMP (src, low)
)"},
    {"TRIGSEND", R"(
trigger src    from "marks-203"
pipe    words  : int32 to "result"
pipe    copies : int32 to "result"
TRIGSEND (src, 16777216, words, copies)
)"},
    {"TRIGSEND", R"(
pipe    wave  : int16 from "wave-2003"
pipe    words : int32 to "varies"
trigger src   to "result"
trigger again to "result"
TOGGLE (wave, outside, -600, 600, inside, -300, 200, src)
TRIGSEND (src, 10, words)
TRIGRECV (words, again)
)",
     sentWordsTellTheEvents,
     "A status goes out when it has moved by enough since the last word: where that is depends on where it stops."},
    {"TRIGRECV", R"(
pipe    words : int32 from "words-307"
trigger dest  to "result"
TRIGRECV (words, dest)
)"},
    {"ALARM", R"(
pipe scan : TYPE from "samples-1107"
ALARM (scan, 1, outside, 1, 0, 3)
)",
     alarmGoesOnOnce},
    {"ALARM", R"(
pipe scan : int16 from "wave-1126"
ALARM (scan, 0, inside, 300, 2000, 5)
)",
     alarmFollowsTheRegion,
     "Samples are looked at by blocks of what has come, and the last of each decides whether the alarm continues."},
    {"ALARM",
     R"(
pipe scan : TYPE from "wave-1107"
ALARM (scan, 0, inside, 300, 2000, 5, 45)
)",
     alarmLastsItsTime,
     "What comes during an alarm is dropped: which alarm is the next depends on the blocks.",
     {"int16", "double"}},
    {"PCASSERT",
     R"(
pipe    requests : int16 starts [0, 1, 1, 5, -1, 0, 0]
pipe    other    : TYPE from "bits-1107"
trigger event    to "varies"
PCASSERT (requests, event, other)
)",
     requestsAreAssertedInOrder,
     "The position of an assertion is how far the other stream has come when the request is seen.",
     {"int16", "double"}},
};

}  // namespace libzepl
