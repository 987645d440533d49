// SQUAREWAVE generates half a cycle at the upper peak, where it starts, and half a cycle at the lower.

#include "frame/commands.h"
#include "generators/waveform.h"

namespace zcmds {

std::uint32_t squarewave(ParamList list) { return generateWaveform(list, WaveType::square); }

}  // namespace zcmds
