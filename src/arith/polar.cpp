// POLAR gives the magnitudes and the angles of a complex stream.

#include <algorithm>

#include "arith/angle.h"
#include "arith/magnitude.h"
#include "arith/pair_loop.h"
#include "module/commands.h"

namespace zcmds {

const char* const polarSignature =
    "( in   pipe     (int16|int32|float|double)  srcr ,   in   typeof(srcr)  srci   ,   "
    "out  typeof(srcr)  destm  ,   out  typeof(srcr)  desta )";

namespace {

template <class Element>
void polarBlock(Element* re, Element* im, std::int32_t n) {
    inPieces(n, [=](std::int32_t start, std::int32_t count) {
        Element angles[mathematicsPiece];
        anglesOf(re + start, im + start, angles, count);
        combineBlock(re + start, im + start, count, [](Element x, Element y) { return magnitude(x, y); });
        std::copy_n(angles, count, im + start);
    });
}

}  // namespace

std::uint32_t polar(ParamList list) {
    StreamReader real, imaginary;
    StreamWriter magnitudes, angles;
    const ParamPair realPair{.source = 1, .destination = 3}, imaginaryPair{.source = 2, .destination = 4};
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 4, 4, anyPipe, anyPipe, anyPipe, anyPipe);
    checkSameElementType(list, {.source = 1, .destination = 2});
    checkSameElementType(list, realPair);
    checkSameElementType(list, imaginaryPair);
    openInPlacePair(params, realPair, real, magnitudes, 1000);
    openInPlacePair(params, imaginaryPair, imaginary, angles, 1000);
    return forElementType(zepl::param_type(list, 1), [&]<class Element>() -> std::uint32_t {
        processPairs<Element>(real, imaginary, magnitudes, angles, polarBlock<Element>);
    });
}

}  // namespace zcmds
