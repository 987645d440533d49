// SQUAREWAVE generates half a cycle at the upper peak, where it starts, and half a cycle at the lower.

#include "generators/waveform.h"
#include "module/commands.h"

namespace zcmds {

std::uint32_t squarewave(ParamList list) { return generateWaveform(list, WaveType::square); }

}  // namespace zcmds
