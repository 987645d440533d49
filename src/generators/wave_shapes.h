// The shapes of the periodic waveforms.
#pragma once

#include "generators/wave_state.h"

namespace zcmds {

WaveFunction* waveFunctionOf(WaveType type);

}  // namespace zcmds
