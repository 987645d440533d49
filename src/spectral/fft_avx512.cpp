// The transform, built for machines with AVX-512. What comes from the library is included before, as everybody has it.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "frame/mathematics.h"
#include "spectral/fft_kernels.h"

#ifdef ZCMDS_FFT_TARGETS

#pragma GCC target("avx512f,avx512vl,avx512dq,avx512bw,avx512cd")
// Compilers that take the line above need not define their own macros by it.
#define ZCMDS_FFT_WHOLE_LANES
#include "spectral/fft_transform.h"

namespace zcmds {

void transformAvx512(double* a, double* b, FftPlan& plan) { transform(a, b, plan); }

}  // namespace zcmds

#endif
