// The form of AVX-512, eight lanes.

#ifdef __x86_64__

#include <sleef.h>

#include "runtime/host/mathematics.h"
#include "runtime/host/mathematics_loops.h"

#define LIBZEPL_FUNCTION(name) Sleef_cinz_##name##d8_u10avx512fnofma

namespace libzepl {

const MathematicsForm avx512Mathematics = LIBZEPL_FORM("AVX-512", __m512d);

}  // namespace libzepl

#endif
