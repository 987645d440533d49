// The form of AVX, four lanes.

#ifdef __x86_64__

#include <sleef.h>

#include "runtime/host/mathematics.h"
#include "runtime/host/mathematics_loops.h"

#define LIBZEPL_FUNCTION(name) Sleef_cinz_##name##d4_u10avx

namespace libzepl {

const MathematicsForm avxMathematics = LIBZEPL_FORM("AVX", __m256d);

}  // namespace libzepl

#endif
