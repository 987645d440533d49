// TFUNCTION2 gives the transfer function from the auto spectrum at the input of a system, a power, and the cross spectrum
// of input and output: cross over auto at each position, as decibels and angle.

#include <cmath>

#include "frame/element_type.h"
#include "host/parameters.h"
#include "lookup/transfer.h"
#include "module/commands.h"

namespace zcmds {

const char* const tfunction2Signature =
    "( in     pipe   (int32|float|double)  srcr1 ,   in     typeof(srcr1)  srcr2 ,   const  typeof(srcr1)  srci2 ,   "
    "out    typeof(srcr1)  mag ,   out    typeof(srcr1)  phase   [ ,       "
    "( const  elementof(srcr1)  scale  |         const  elementof(srcr1)  lim1 ,         "
    "const  elementof(srcr1)  lim2   |         const  elementof(srcr1)  scale ,         "
    "const  elementof(srcr1)  lim1 ,         const  elementof(srcr1)  lim2 )   ] )";

namespace {

// The limits look at the amplitude, the root of the auto spectrum, but the result is cross over auto itself.
template <class Element>
ZCMDS_VECTOR_CLONES void ratiosOf(const Element* power, const Element* realCross, const Element* imaginaryCross,
                                  std::int32_t n, double lim1, double lim2, TransferPiece& piece) {
    for (std::int32_t i = 0; i < n; ++i) {
        const auto r1 = static_cast<double>(power[i]);
        const auto r2 = static_cast<double>(realCross[i]), i2 = static_cast<double>(imaginaryCross[i]);
        const double m1 = std::sqrt(r1), m2 = std::sqrt(r2 * r2 + i2 * i2);
        piece.kept[i] = ((m1 < lim1) | (m2 / m1 < lim2)) ? 0 : ~std::uint64_t{0};
        piece.ratio[i] = m2 / r1;
        piece.x[i] = r2;
        piece.y[i] = i2;
    }
}

template <class Element>
void transformBlock(const TransferState& state, std::int32_t n) {
    const auto* r1 = static_cast<const Element*>(state.srcr1.ptr);
    const auto *r2 = static_cast<const Element*>(state.srcr2.ptr), *i2 = static_cast<const Element*>(state.srci2.ptr);
    transformPositions<Element>(state, n, [&](std::int32_t at, std::int32_t count, TransferPiece& piece) {
        ratiosOf(r1 + at, r2 + at, i2 + at, count, state.lim1, state.lim2, piece);
    });
}

}  // namespace

std::uint32_t tfunction2(ParamList list) {
    constexpr ParamMask widePipe = pipeInt32 | pipeFloat | pipeDouble, wideConstant = constantInt32 | constantReal;
    TransferState state;
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 5, 8, widePipe, widePipe, widePipe, widePipe, widePipe,
                                             constantScalar, wideConstant, wideConstant);
    for (std::int32_t k = 2; k <= 5; ++k) checkSameElementType(list, {.source = 1, .destination = k});
    openInPlacePair(params, {.source = 1, .destination = 4}, state.srcr1, state.mag, transferCapacity);
    openInPlacePair(params, {.source = 2, .destination = 5}, state.srcr2, state.phase, transferCapacity);
    openReader(state.srci2, handleIn<PipeHandle>(params[3]), transferCapacity);
    readTransferOptions(list, params, 6, count, state);
    return forElementType(zepl::param_type(list, 1), [&]<class Element>() -> std::uint32_t {
        for (;;) {
            const std::int32_t n = state.srcr1.refill();
            state.srcr2.refillExactly(n);
            state.srci2.refillExactly(n);
            transformBlock<Element>(state, n);
            flushTransfer(state, n);
        }
    });
}

}  // namespace zcmds
