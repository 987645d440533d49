// Statistics: blocks and windows go on over what arrives together.
#pragma once

#include "tests/determinism/cases.h"

namespace libzepl {

inline const Cases statsCases{
    {"AVERAGE", R"(
pipe src    : TYPE from "bits-1107"
pipe short  : TYPE to "result"
pipe long   : TYPE to "result"
AVERAGE (src, 7, short)
AVERAGE (src, 300, long)
)"},
    {"VARIANCE", R"(
pipe src   : TYPE from "bits-1107"
pipe short : TYPE to "result"
pipe long  : TYPE to "result"
VARIANCE (src, 7, short)
VARIANCE (src, 300, long)
)"},
    {"VARIANCE", R"(
pipe src    : int16 from "bits-1107"
pipe spread : int32 to "result"
VARIANCE (src, 33, spread)
)"},
    {"STDDEV", R"(
pipe src   : TYPE from "bits-1107"
pipe short : TYPE to "result"
pipe long  : TYPE to "result"
STDDEV (src, 7, short)
STDDEV (src, 300, long)
)"},
    {"RMS", R"(
pipe src   : TYPE from "bits-1107"
pipe short : TYPE to "result"
pipe long  : TYPE to "result"
RMS (src, 7, short)
RMS (src, 300, long)
)"},
    {"RMS", R"(
pipe src[2]   : TYPE from "bits-1107"
pipe level[2] : TYPE
pipe first    : TYPE to "result"
pipe last     : TYPE to "result"
RMS (src, 7, level)
ABS (level[1], first)
ABS (level[2], last)
)"},
    {"HIGH", R"(
pipe src   : TYPE from "bits-1107"
pipe level : TYPE to "result"
pipe place : int16 to "result"
pipe far   : TYPE to "result"
HIGH (src, 7, level, place)
HIGH (src, 300, far)
)"},
    {"LOW", R"(
pipe src   : TYPE from "bits-1107"
pipe level : TYPE to "result"
pipe place : int32 to "result"
pipe far   : TYPE to "result"
LOW (src, 7, level, place)
LOW (src, 300, far)
)"},
    // Each of its ways to move blocks: passed on, many to a transfer, some, one, and one in parts.
    {"BAVERAGE", R"(
pipe src   : TYPE from "samples-1107"
pipe same  : TYPE to "result"
pipe small : TYPE to "result"
pipe some  : TYPE to "result"
pipe large : TYPE to "result"
BAVERAGE (src, 5, 1, same)
BAVERAGE (src, 3, 7, small)
BAVERAGE (src, 100, 3, some)
BAVERAGE (src, 300, 2, large)
)"},
    {"BAVERAGE",
     R"(
pipe src   : TYPE from "samples-8300"
pipe huge  : TYPE to "result"
BAVERAGE (src, 4100, 2, huge)
)",
     nullptr,
     "",
     {"int16"}},
    {"BINTEGRATE", R"(
pipe src  : TYPE from "samples-1107"
pipe dest : TYPE to "result"
BINTEGRATE (src, dest, 33)
)"},
    {"INTEGRATE", R"(
pipe src     : TYPE from "samples-1107"
pipe forever : TYPE to "result"
pipe parts   : TYPE to "result"
INTEGRATE (src, forever)
INTEGRATE (src, parts, 100)
)"},
    {"INTEGRATE", R"(
pipe src : int16 from "bits-1107"
pipe sum : int32 to "result"
INTEGRATE (src, sum)
)"},
    {"RAVERAGE", R"(
pipe src  : TYPE from "samples-1107"
pipe dest : TYPE to "result"
RAVERAGE (src, 100, dest)
)"},
    {"RSUM", R"(
pipe src    : TYPE from "samples-1107"
pipe sums   : TYPE to "result"
pipe window : TYPE to "result"
RSUM (src, 7, 3, sums, 40)
RSUM (src, 3, 5, 300, window)
)"},
};

}  // namespace libzepl
