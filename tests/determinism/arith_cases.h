// Element-wise arithmetic: one element after another, nothing is kept but DELTA's last. Of two sources the first sets the
// pace and is the shorter one: a block of it for which the second does not suffice is lost, and how large it is depends on
// how the input arrives.
#pragma once

#include "tests/determinism/cases.h"

namespace libzepl {

inline const Cases arithCases{
    {"ABS", R"(
pipe src  : TYPE from "bits-1107"
pipe dest : TYPE to "result"
ABS (src, dest)
)"},
    {"ABS", R"(
pipe src   : TYPE from "bits-1107"
pipe late  : TYPE from "bits-407"
pipe sum   : double = abs(src) + late[-37] to "result"
pipe poles : double = min(max(src, -1), 1) + 1.2 * poles[-1] - 0.5 * poles[-2] starts [1, 2] to "result"
pipe one   : TYPE = if(src > late, src, late)
pipe size  : TYPE to "result"
ABS (one, size)
)"},
    {"DELTA", R"(
pipe src  : TYPE from "bits-1107"
pipe dest : TYPE to "result"
DELTA (src, dest)
)"},
    {"OFFSET", R"(
pipe src  : TYPE from "bits-1107"
pipe dest : TYPE to "result"
OFFSET (src, 1000, dest)
)"},
    {"SCALE", R"(
pipe src  : TYPE from "bits-1107"
pipe dest : TYPE to "result"
SCALE (src, 3, -7, 5, dest)
)"},
    {"SQRT", R"(
pipe src  : TYPE from "bits-1107"
pipe dest : TYPE to "result"
SQRT (src, dest)
)"},
    {"BOUND", R"(
pipe src  : TYPE from "bits-1107"
pipe dest : TYPE to "result"
BOUND (src, -9000, 12000, dest)
)"},
    {"RANGE",
     R"(
pipe src  : TYPE from "bits-1107"
pipe near : TYPE to "result"
pipe far  : TYPE to "result"
RANGE (src, inside, -20000, 12000, near)
RANGE (src, outside, -20000, 12000, far)
)",
     nullptr,
     "",
     {"int16", "float"}},
    {"RANGE",
     R"(
pipe src  : TYPE from "samples-1107"
pipe near : TYPE to "result"
RANGE (src, outside, -300, 300, near)
)",
     nullptr,
     "",
     {"int32", "double"}},
    {"DECIBEL", R"(
pipe src  : TYPE from "bits-1107"
pipe dest : TYPE to "result"
DECIBEL (src, 100, 20, dest)
)"},
    {"CANGLE", R"(
pipe re   : TYPE from "bits-1051"
pipe im   : TYPE from "bits-1107"
pipe dest : TYPE to "result"
CANGLE (re, im, dest)
)"},
    {"CMAG", R"(
pipe re   : TYPE from "bits-1051"
pipe im   : TYPE from "bits-1107"
pipe dest : TYPE to "result"
CMAG (re, im, dest)
)"},
    {"POLAR", R"(
pipe re    : TYPE from "bits-1051"
pipe im    : TYPE from "bits-1107"
pipe mag   : TYPE to "result"
pipe angle : TYPE to "result"
POLAR (re, im, mag, angle)
)"},
};

}  // namespace libzepl
