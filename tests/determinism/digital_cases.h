// Counters and digital ports.
#pragma once

#include "tests/determinism/invariants.h"

namespace libzepl {

inline const Cases digitalCases{
    {"PULSECOUNT", R"(
pipe     port   : int16 from "bits-1107"
variable pulses : int32 = 0
PULSECOUNT (port, 3, pulses)
)"},
    {"CTCOUNT", R"(
pipe ticks : int16 from "bits-1107"
pipe total : int32 to "result"
pipe low   : int16 to "result"
CTCOUNT (ticks, total)
CTCOUNT (ticks, low)
)"},
    {"CTRATE", R"(
pipe ticks : int16 from "bits-1107"
pipe steps : int32 to "result"
pipe low   : int16 to "result"
CTRATE (ticks, steps)
CTRATE (ticks, low)
)"},
    {"QDCOUNT", R"(
pipe counter  : int16 from "bits-1107"
pipe position : int32 to "result"
pipe low      : int16 to "result"
QDCOUNT (counter, 1000, "ABS", position)
QDCOUNT (counter, low)
)"},
    {"QDECODE", R"(
pipe     port  : int16 from "bits-1107"
pipe     all   : int32 to "result"
pipe     some  : int32 to "result"
variable last  : int32 = 0
QDECODE (port, 4, all)
QDECODE (port, 0, some, 7)
QDECODE (port, 14, last)
)"},
    {"PWM", R"(
pipe duty  : float starts [0.25, 0.3, -2, 0.75, 0.1]
pipe count : int16 starts [20000]
pipe words : int16 from "bits-1107"
pipe one   : int16 to "result"
pipe other : int16 to "result"
PWM (duty, 4, 0, words, one)
PWM (count, 1, 15, words, other)
)"},
    {"PWM",
     R"(
pipe duty  : TYPE from "part-400"
pipe words : int16 from "bits-1107"
pipe mod   : int16 to "varies"
PWM (duty, 3, 5, words, mod)
)",
     onlyTheBitChanges,
     "A duty is taken if one is there when a word is: when it changes depends on which of the two comes first.",
     {"int16", "float"}},
    {"DEXPAND", R"(
pipe   wave  : int16 from "bits-707"
pipe   four  : int16 to "result"
pipe   two   : int16 to "result"
vector ports : int16 = [5, 6, 63]
DEXPAND (wave, ports, four)
DEXPAND (wave, ports, two, "SI")
)"},
    {"COMPRESS", R"(
pipe   levels : int16 from "wave-1107"
pipe   log    : int16 to "result"
pipe   all    : int16 to "result"
vector steps  : int16 = [150, 400, 0]
COMPRESS (levels, 3, steps, log)
COMPRESS (levels, 2, 200, all)
)"},
};

}  // namespace libzepl
