#include "spectral/fft_kernels.h"

namespace zcmds {

namespace {

FftKernel bestKernel() {
#ifdef ZCMDS_FFT_TARGETS
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512cd")) return transformAvx512;
    if (__builtin_cpu_supports("avx2")) return transformAvx2;
#endif
    return transformBaseline;
}

const FftKernel kernel = bestKernel();

}  // namespace

void fftExecute(double* a, double* b, FftPlan& plan) { kernel(a, b, plan); }

}  // namespace zcmds
