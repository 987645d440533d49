// Takes the best build of the transform that the machine can run.

#include <algorithm>

#include "spectral/fft_kernels.h"

namespace zcmds {

namespace {

constexpr FftKernel kernels[] = {
#ifdef ZCMDS_FFT_TARGETS
    {"AVX-512",
     [] {
         return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
                __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw") &&
                __builtin_cpu_supports("avx512cd");
     },
     transformAvx512},
    {"AVX2", [] { return __builtin_cpu_supports("avx2") != 0; }, transformAvx2},
#endif
    {"baseline", [] { return true; }, transformBaseline},
};

const FftKernel& best = *std::ranges::find_if(kernels, [](const FftKernel& kernel) { return kernel.machineHas(); });

}  // namespace

std::span<const FftKernel> fftKernels() { return kernels; }

void fftExecute(double* a, double* b, FftPlan& plan) { best.transform(a, b, plan); }

}  // namespace zcmds
