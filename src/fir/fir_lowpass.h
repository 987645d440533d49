// The stored low-pass prototypes: symmetric filters of odd length with a DC gain of 1, aligned to their centre.
#pragma once

#include "fir/fir_engine.h"

namespace zcmds {

inline constexpr std::int32_t lowpassMaxDecimation = 12;

// The prototype for a decimation from 1 to lowpassMaxDecimation and a source of this type: of doubles for int32 and
// double, of the same values rounded to single for int16 and float.
const FirCoefficients& firLowpassPrototype(std::int32_t decimation, ParamMask srcType);

}  // namespace zcmds
