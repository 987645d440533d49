// SINEWAVE generates a sine, which starts at its middle and rises.

#include "generators/waveform.h"
#include "module/commands.h"

namespace zcmds {

std::uint32_t sinewave(ParamList list) { return generateWaveform(list, WaveType::sine); }

}  // namespace zcmds
