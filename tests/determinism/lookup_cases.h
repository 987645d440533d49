// Transfer functions and tables, sample by sample. The first source sets the pace and is the shortest: a block of it for
// which another does not suffice is lost, and how large it is depends on how the input arrives.
#pragma once

#include "tests/determinism/cases.h"

namespace libzepl {

inline const Cases lookupCases{
    {"TFUNCTION1", R"(
pipe re1   : TYPE from "bits-1001"
pipe im1   : TYPE from "bits-1051"
pipe re2   : TYPE from "bits-1190"
pipe im2   : TYPE from "bits-1303"
pipe level : TYPE to "result"
pipe angle : TYPE to "result"
TFUNCTION1 (re1, im1, re2, im2, level, angle, 20, 1000, 3)
)"},
    {"TFUNCTION2",
     R"(
pipe power : TYPE from "bits-1001"
pipe re    : TYPE from "bits-1107"
pipe im    : TYPE from "bits-1190"
pipe level : TYPE to "result"
pipe angle : TYPE to "result"
TFUNCTION2 (power, re, im, level, angle, 100, 1, 1)
)",
     nullptr,
     "",
     {"int32", "float", "double"}},
    {"INTERP", R"(
pipe   src   : TYPE from "bits-1107"
pipe   slow  : TYPE from "wave-1107"
pipe   fromSrc  : TYPE to "result"
pipe   fromSlow : TYPE to "result"
vector x     : TYPE = [-20000, -900, -120, 0, 7, 350, 800, 31000]
vector y     : TYPE = [-9, 31000, 400, 3, -20000, 15, 16, -1]
INTERP (src, x, y, fromSrc)
INTERP (slow, x, y, fromSlow)
)"},
    {"THERMO", R"(
pipe     raw     : int16 from "bits-1107"
pipe     celsius : int16 to "result"
pipe     plain   : int16 to "result"
variable zero    : int16 = 12
variable ambient : int16 = 215
THERMO (raw, "K", 2, 9, zero, celsius, ambient)
THERMO (raw, 9, 1, 30, plain)
)"},
    {"FINDMAX", R"(
pipe    src   : TYPE from "bits-1107"
pipe    peak  : TYPE to "result"
pipe    place : int32 to "result"
pipe    edge  : TYPE to "result"
trigger at    to "result"
FINDMAX (src, 33, inside, 5, 30, peak, place, at)
FINDMAX (src, 300, outside, 20, 250, edge)
)"},
};

}  // namespace libzepl
