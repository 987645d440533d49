// SINEWAVE generates a sine, which starts at its middle and rises.

#include "frame/commands.h"
#include "generators/waveform.h"

namespace zcmds {

std::uint32_t sinewave(ParamList list) { return generateWaveform(list, WaveType::sine); }

}  // namespace zcmds
