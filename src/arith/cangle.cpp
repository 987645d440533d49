// CANGLE gives the angles of a complex stream.

#include "arith/angle.h"
#include "arith/pair_loop.h"
#include "module/commands.h"

namespace zcmds {

const char* const cangleSignature =
    "( in    pipe          (int16|int32|float|double)  srcr ,   in    typeof(srcr)  srci ,        "
    "out   typeof(srcr)  destr  )";

std::uint32_t cangle(ParamList list) {
    return combineStreams(list, [](auto* re, const auto* im, std::int32_t n) { anglesOf(re, im, re, n); });
}

}  // namespace zcmds
