// Routing and monitors.
#pragma once

#include "tests/determinism/invariants.h"

namespace libzepl {

inline const Cases routingCases{
    {"MERGEF",
     R"(
pipe one  : int16  starts [1, -2, 3]
pipe two  : double starts [0.5, nan]
pipe link : TYPE to "result" limit 14
MERGEF (one, two, link)
)",
     nullptr,
     "",
     {"int16", "int32"}},
    {"MERGEF",
     R"(
pipe one   : int16  from "bits-1107"
pipe two   : float  from "samples-401"
pipe three : TYPE   from "bits-703"
pipe link  : TYPE   to "varies"
pipe back1 : int16  to "result"
pipe back2 : float  to "result"
pipe back3 : TYPE   to "result"
MERGEF (one, two, three, link)
SEPARATEF (link, back1, back2, back3)
)",
     mergedStreamsAreWhole,
     "Each source is served when it has data: which comes first depends on the input. Taken apart again they are "
     "whole.",
     {"int16", "int32", "double"}},
    {"SEPARATEF", R"(
pipe link  : TYPE from "digits-1107"
pipe one   : TYPE to "result"
pipe two   : int16 to "result"
pipe three : double to "result"
pipe four  : TYPE to "result"
SEPARATEF (link, one, two, three, four)
)"},
    // A tag that no destination has ends the task where it stands.
    {"SEPARATEF", R"(
pipe link : TYPE from "wave-1107"
pipe none : TYPE
SEPARATEF (link, none)
)"},
    {"BMERGEF", R"(
pipe one   : TYPE from "bits-1107"
pipe blocks : TYPE to "result"
BMERGEF (one, 60, blocks)
)"},
    {"BMERGEF", R"(
pipe one    : int16 from "bits-1107"
pipe two    : int16 from "bits-428"
pipe three  : int16 from "bits-700"
pipe blocks : int16 to "varies"
BMERGEF (one, two, three, 33, blocks)
)",
     mergedBlocksAreWhole, "Whole blocks leave as they are complete: which source's comes first depends on the input."},
    {"SEPARATE", R"(
pipe src   : TYPE from "bits-2003"
pipe one   : TYPE to "result"
pipe two   : int16 to "result"
pipe three : double to "result"
pipe four  : TYPE to "result"
SEPARATE (src, one, two, three, four)
)"},
    {"SKIP", R"(
pipe src  : TYPE from "bits-1107"
pipe some : TYPE to "result"
pipe few  : TYPE to "result"
pipe rest : TYPE to "result"
SKIP (src, 20, 3, 5, some)
SKIP (src, 1, 40, 400, few)
SKIP (src, 300, 1, 0, rest)
)"},
    {"SKIP", R"(
pipe src   : TYPE  from "bits-1107"
pipe marks : int32 from "digits-703"
pipe some  : TYPE
pipe size  : TYPE  to "result" limit 200
SKIP (src, 20, 3, 5, some)
ABS (some, size)
table "rows"  : src, some, size, marks
table "first" : marks, size limit 50
)"},
    {"REPLICATE", R"(
pipe src   : TYPE from "bits-407"
pipe twice : TYPE to "result"
pipe often : TYPE to "result"
REPLICATE (src, 2, twice)
REPLICATE (src, 7, often)
)"},
    {"LOADING", R"(
pipe src    : TYPE from "bits-407"
pipe loaded : TYPE to "result"
LOADING (src, 50, 1, 0, loaded, 60)
)"},
    {"MRBLOCK", R"(
pipe     src     : TYPE from "bits-150"
pipe     block   : TYPE to "result"
variable request : int16 = 1
MRBLOCK (src, request, 100, block)
)"},
    {"MRBLOCK", R"(
pipe src      : int16 from "bits-1107"
pipe requests : int16 from "digits-30"
pipe blocks   : int16 to "varies"
MRBLOCK (src, requests, 20, blocks)
)",
     recentBlocksStandInRows,
     "The block that is the most recent one when a request is taken depends on what has come."},
    // Only the moments at which the variable changes hang on the input, and nothing here looks at them.
    {"PVALUE", R"(
pipe     src    : TYPE from "bits-1107"
variable latest : TYPE = 0
PVALUE (src, latest)
)"},
    {"PCOUNT", R"(
pipe     src   : TYPE from "bits-1107"
variable tally : int16 = 32000
variable real  : double = 0.5
PCOUNT (src, tally)
PCOUNT (src, real)
)"},
    {"DISCARD", R"(
pipe src    : TYPE from "bits-1107"
pipe first  : TYPE to "result"
pipe second : TYPE
pipe third  : TYPE
SEPARATE (src, first, second, third)
DISCARD (second, third)
)",
     secondIsEmptied,
     "What waits on the second pipe depends on what has come when the first one moves; nothing is left on the first."},
};

}  // namespace libzepl
