// TRIANGLE generates a wave of two even ramps, which starts at its middle and rises.

#include "generators/waveform.h"
#include "module/commands.h"

namespace zcmds {

std::uint32_t triangle(ParamList list) { return generateWaveform(list, WaveType::triangle); }

}  // namespace zcmds
