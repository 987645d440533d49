// The transform, built for every machine.

#include "spectral/fft_kernels.h"
#include "spectral/fft_transform.h"

namespace zcmds {

void transformBaseline(double* a, double* b, FftPlan& plan) { transform(a, b, plan); }

}  // namespace zcmds
