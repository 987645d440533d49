// CMAG gives the magnitudes of a complex stream.

#include "arith/magnitude.h"
#include "arith/pair_loop.h"
#include "module/commands.h"

namespace zcmds {

const char* const cmagSignature =
    "( in    pipe     (int16|int32|float|double)  srcr ,   in    typeof(srcr)  srci ,   out   typeof(srcr)  destr )";

std::uint32_t cmag(ParamList list) {
    return combineStreams(list, []<class Element>(Element* re, const Element* im, std::int32_t n) {
        combineBlock(re, im, n, [](Element x, Element y) { return magnitude(x, y); });
    });
}

}  // namespace zcmds
