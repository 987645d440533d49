// The transform, built for machines with AVX2. What comes from the library is included before, as everybody has it.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "frame/mathematics.h"
#include "spectral/fft_kernels.h"

#ifdef ZCMDS_FFT_TARGETS

#pragma GCC target("avx2")
#include "spectral/fft_transform.h"

namespace zcmds {

void transformAvx2(double* a, double* b, FftPlan& plan) { transform(a, b, plan); }

}  // namespace zcmds

#endif
