// TFUNCTION1 gives the transfer function from a complex spectrum at the input of a system and the one at its output:
// their ratio at each position, as decibels and angle.

#include <cmath>

#include "frame/element_type.h"
#include "host/parameters.h"
#include "lookup/transfer.h"
#include "module/commands.h"

namespace zcmds {

const char* const tfunction1Signature =
    "( in     pipe   (int16|int32|float|double)  srcr1 ,   in     typeof(srcr1)   srci1 ,   "
    "const  typeof(srcr1)   srcr2 ,   const  typeof(srcr1)   srci2 ,   out    typeof(srcr1)   mag ,   "
    "out    typeof(srcr1)   phase   [ ,       ( const  elementof(srcr1)  scale  |         "
    "const  elementof(srcr1)  lim1 ,         const  elementof(srcr1)  lim2   |         "
    "const  elementof(srcr1)  scale ,         const  elementof(srcr1)  lim1 ,         "
    "const  elementof(srcr1)  lim2 )   ] )";

namespace {

// The ratio of r2 + i2 * i to r1 + i1 * i. Weak positions are suppressed, and nothing else guards the division.
template <class Element>
ZCMDS_VECTOR_CLONES void ratiosOf(const Element* realIn, const Element* imaginaryIn, const Element* realOut,
                                  const Element* imaginaryOut, std::int32_t n, double lim1, double lim2,
                                  TransferPiece& piece) {
    for (std::int32_t i = 0; i < n; ++i) {
        const auto r1 = static_cast<double>(realIn[i]), i1 = static_cast<double>(imaginaryIn[i]);
        const auto r2 = static_cast<double>(realOut[i]), i2 = static_cast<double>(imaginaryOut[i]);
        const double m1 = std::sqrt(r1 * r1 + i1 * i1), m2 = std::sqrt(r2 * r2 + i2 * i2);
        piece.kept[i] = ((m1 < lim1) | (m2 < lim2)) ? 0 : ~std::uint64_t{0};
        piece.ratio[i] = m2 / m1;
        piece.x[i] = r1 * r2 + i1 * i2;
        piece.y[i] = r1 * i2 - r2 * i1;
    }
}

template <class Element>
void transformBlock(const TransferState& state, std::int32_t n) {
    const auto *r1 = static_cast<const Element*>(state.srcr1.ptr), *i1 = static_cast<const Element*>(state.srci1.ptr);
    const auto *r2 = static_cast<const Element*>(state.srcr2.ptr), *i2 = static_cast<const Element*>(state.srci2.ptr);
    transformPositions<Element>(state, n, [&](std::int32_t at, std::int32_t count, TransferPiece& piece) {
        ratiosOf(r1 + at, i1 + at, r2 + at, i2 + at, count, state.lim1, state.lim2, piece);
    });
}

}  // namespace

std::uint32_t tfunction1(ParamList list) {
    TransferState state;
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 6, 9, anyPipe, anyPipe, anyPipe, anyPipe, anyPipe, anyPipe,
                                             constantScalar, constantScalar, constantScalar);
    for (std::int32_t k = 2; k <= 6; ++k) checkSameElementType(list, {.source = 1, .destination = k});
    openInPlacePair(params, {.source = 1, .destination = 5}, state.srcr1, state.mag, transferCapacity);
    openInPlacePair(params, {.source = 2, .destination = 6}, state.srci1, state.phase, transferCapacity);
    openReader(state.srcr2, handleIn<PipeHandle>(params[3]), transferCapacity);
    openReader(state.srci2, handleIn<PipeHandle>(params[4]), transferCapacity);
    readTransferOptions(list, params, 7, count, state);
    return forElementType(zepl::param_type(list, 1), [&]<class Element>() -> std::uint32_t {
        for (;;) {
            const std::int32_t n = state.srcr1.refill();
            state.srci1.refillExactly(n);
            state.srcr2.refillExactly(n);
            state.srci2.refillExactly(n);
            transformBlock<Element>(state, n);
            flushTransfer(state, n);
        }
    });
}

}  // namespace zcmds
