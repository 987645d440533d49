// Spectra: blocks are taken whole, so they hang on nothing but the samples.
#pragma once

#include "tests/determinism/cases.h"

namespace libzepl {

inline const Cases spectralCases{
    {"FFT", R"(
pipe re    : TYPE from "samples-1107"
pipe im    : TYPE from "samples-1051"
pipe parts : TYPE to "result"
pipe turns : TYPE to "result"
pipe level : TYPE to "result"
FFT (3, 4, 0, re, im, parts, turns)
FFT (5, 8, 2, re, level)
)"},
    {"FFT", R"(
pipe src   : int16 from "samples-1107"
pipe power : int32 to "result"
pipe level : int16 to "result"
pipe phase : int16 to "result"
FFT (4, 6, 1, src, power)
FFT (6, 5, 4, src, level, phase)
)"},
    {"MIXRFFT", R"(
pipe re    : TYPE from "samples-1051"
pipe im    : TYPE from "samples-1107"
pipe level : TYPE to "result"
pipe phase : TYPE to "result"
pipe sum   : double to "result"
MIXRFFT (60, HAMMING, re, HALF, POLAR, level, phase)
MIXRFFT (200, REVERSE, KAISER, 4.5, re, im, FULL, PARTS, sum)
)"},
    {"CROSSPOWER", R"(
pipe one : TYPE from "samples-1051"
pipe two : TYPE from "samples-1107"
pipe re  : TYPE to "result"
pipe im  : TYPE to "result"
pipe own : TYPE to "result"
CROSSPOWER (one, two, 5, VONHANN, re, im, own)
)"},
    {"CORRELATE", R"(
pipe one   : TYPE from "samples-1051"
pipe two   : TYPE from "samples-1107"
pipe apart : TYPE to "result"
pipe self  : double to "result"
CORRELATE (one, two, 3, 20, 150, apart)
CORRELATE (two, two, 0, 8, 33, self)
)"},
    {"DFT", R"(
pipe src    : TYPE from "samples-1107"
pipe level  : TYPE to "result"
pipe re     : TYPE to "result"
pipe im     : TYPE to "result"
vector some : int16 = [0, 5, 49, 1]
DFT (5, 50, 2, some, src, level)
DFT (0, 300, 4, some, src, re, im)
)"},
};

}  // namespace libzepl
