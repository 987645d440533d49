// SAWTOOTH generates a ramp that rises through the whole cycle and jumps back. It starts in the middle of the ramp.

#include "generators/waveform.h"
#include "module/commands.h"

namespace zcmds {

std::uint32_t sawtooth(ParamList list) { return generateWaveform(list, WaveType::sawtooth); }

}  // namespace zcmds
