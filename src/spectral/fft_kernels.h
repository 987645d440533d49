// The transform is built for several instruction sets.
#pragma once

#include "spectral/fft_engine.h"

#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
#define ZCMDS_FFT_TARGETS
#endif

namespace zcmds {

using FftKernel = void (*)(double* a, double* b, FftPlan& plan);

void transformBaseline(double* a, double* b, FftPlan& plan);
void transformAvx2(double* a, double* b, FftPlan& plan);
void transformAvx512(double* a, double* b, FftPlan& plan);

}  // namespace zcmds
