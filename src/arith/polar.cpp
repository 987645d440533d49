// POLAR gives the magnitudes and the angles of a complex stream.

#include <algorithm>
#include <type_traits>

#include "arith/angle.h"
#include "arith/magnitude.h"
#include "arith/pair_loop.h"
#include "module/commands.h"

namespace zcmds {

const char* const polarSignature =
    "( in   pipe     (int16|int32|float|double)  srcr ,   in   typeof(srcr)  srci   ,   "
    "out  typeof(srcr)  destm  ,   out  typeof(srcr)  desta )";

namespace {

template <class Real>
void polarBlock(Real* re, Real* im, std::int32_t n) {
    inPieces(n, [=](std::int32_t start, std::int32_t count) {
        Real angles[mathematicsPiece];
        anglesOf(re + start, im + start, angles, count);
        combineBlock(re + start, im + start, count, [](Real x, Real y) { return magnitude(x, y); });
        std::copy_n(angles, count, im + start);
    });
}

// An integer's angle takes a search, in which the processor finds time for the root.
template <class Integer>
requires std::is_integral_v<Integer>
void polarBlock(Integer* re, Integer* im, std::int32_t n) {
    for (std::int32_t i = 0; i < n; ++i) {
        const Integer x = re[i], y = im[i];
        re[i] = magnitude(x, y);
        im[i] = angle(x, y);
    }
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
        processPairs<Element>(real, imaginary, magnitudes, angles,
                              [](Element* re, Element* im, std::int32_t n) { polarBlock(re, im, n); });
    });
}

}  // namespace zcmds
