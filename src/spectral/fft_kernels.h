// The builds of the transform for several instruction sets. All give the same bits.
#pragma once

#include <span>

#include "spectral/fft_engine.h"

// clang++ 14 has no way to build a whole file for another instruction set.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
#define ZCMDS_FFT_TARGETS
#endif

namespace zcmds {

struct FftKernel {
    const char* name;
    bool (*machineHas)();
    void (*transform)(double* a, double* b, FftPlan& plan);
};

void transformBaseline(double* a, double* b, FftPlan& plan);
void transformAvx2(double* a, double* b, FftPlan& plan);
void transformAvx512(double* a, double* b, FftPlan& plan);

// The fastest first.
std::span<const FftKernel> fftKernels();

}  // namespace zcmds
