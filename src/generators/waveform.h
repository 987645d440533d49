// What COSINEWAVE, SAWTOOTH, SINEWAVE, SQUAREWAVE and TRIANGLE have in common, which is all but the shape.
#pragma once

#include "generators/wave_state.h"

namespace zcmds {

// Reads the list, finds out whether a table can be made, and generates forever.
std::uint32_t generateWaveform(ParamList list, WaveType type);

}  // namespace zcmds
