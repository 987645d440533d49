// The kernels of MTSFILT. tools/design_mtsfilt_kernels.py makes them; docs/images/mtsfilt_kernels.png shows them.
#pragma once

#include <cstdint>

namespace zcmds {

inline constexpr int mtsTaps = 16;

// 256 low-pass kernels of 16 taps, oldest sample first; 32768 is 1, and a row sums to 32768 within 3. The centre of row r
// lies at tap 7 + r / 256, so a row is the same low-pass as the row before, 1/256 of a frame later.
using MtsKernelTable = std::int16_t[256][mtsTaps];
extern const MtsKernelTable mtsKernels;

}  // namespace zcmds
