// Controllers. They poll for set points, gains and modes; where these are there from the start nothing depends on the input.
#pragma once

#include "tests/determinism/invariants.h"

namespace libzepl {

inline const Cases controlCases{
    {"PID", R"(
pipe setpt : TYPE starts [100, 300, -40, 7]
pipe gains : float starts [0.5, 12, 8, 1, 900, 5, 0, 0, 0.25, 100, 3, 0.5]
pipe feedb : TYPE from "wave-1107"
pipe drive : TYPE to "result"
pipe bound : TYPE to "result"
PID (setpt, feedb, gains, 1.0, drive)
PID (setpt, feedb, gains, 0.5, bound, -300, 400)
)"},
    {"PID", R"(
pipe setpt : double from "wave-150"
pipe gains : float starts [1, 0, 0, 1]
pipe feedb : double from "wave-1107"
pipe drive : double to "varies"
PID (setpt, feedb, gains, 1.0, drive, -300, 400)
)",
     driveFollowsTheSetPoints, "A set point is taken if one is there when a measurement is."},
    {"PID1", R"(
pipe     measured : int16 from "wave-1107"
pipe     drive    : int16 to "result"
pipe     bound    : int16 to "result"
variable level    : int16 = 100
variable strength : int16 = 50
PID1 (measured, level, strength, 20, -30, drive)
PID1 (measured, level, 500, 2000, 0, bound, -500, 300)
)"},
    {"PIDLATCH", R"(
pipe setmon  : TYPE starts [500, 900, -300]
pipe mode    : int16 starts [1, 1, 0, 0, 0, 0, 1, -3, 0, 0, 2, 1, 0]
pipe ctrlmon : TYPE from "wave-1051"
pipe plntmon : TYPE from "wave-1107"
pipe fbset   : TYPE to "result"
pipe drive   : TYPE to "result"
PIDLATCH (setmon, fbset, ctrlmon, drive, plntmon, mode)
)"},
    {"PIDLATCH", R"(
pipe setmon  : double starts [500]
pipe mode    : int32 from "digits-300"
pipe ctrlmon : double from "wave-1051"
pipe plntmon : double from "wave-1107"
pipe fbset   : double to "varies"
pipe drive   : double to "varies"
PIDLATCH (setmon, fbset, ctrlmon, drive, plntmon, mode)
)",
     latchPassesOrFilters, "A mode is taken if one is there when a sample is."},
    {"PIDRAMP", R"(
pipe     levels : TYPE from "wave-40"
pipe     period : int16 starts [5, 1, 40, 17]
pipe     ramps  : TYPE to "result"
pipe     bends  : TYPE to "result"
pipe     turns  : TYPE to "result"
variable length : int16 = 33
PIDRAMP (levels, ramps, 20, "LINEAR")
PIDRAMP (levels, bends, length, "HYPERBOLIC")
PIDRAMP (levels, turns, period, "EXPONENTIAL")
)"},
    {"PIDRAMP", R"(
pipe levels : int16 from "wave-40"
pipe period : int16 from "digits-25"
pipe ramps  : int16 to "varies"
PIDRAMP (levels, ramps, period, "LINEAR")
)",
     rampsReachTheirLevels, "A period is taken if one is there when a level is."},
    {"PIDSCRAM", R"(
pipe    setin  : TYPE from "wave-1107"
pipe    setdrv : TYPE to "result"
trigger quiet  from "marks-0"
PIDSCRAM (setin, setdrv, -200, 30, "EXPONENTIAL", quiet)
)"},
    {"PIDSCRAM", R"(
pipe    setin  : int16 from "wave-1107"
pipe    setdrv : int16 to "varies" limit 1000
trigger alarm  from "marks-2"
PIDSCRAM (setin, setdrv, -2000, 30, "LINEAR", alarm)
)",
     scramPassesRampsAndHolds,
     "The alarm is looked at when a value comes: after how many values it is seen depends on the input."},
};

}  // namespace libzepl
