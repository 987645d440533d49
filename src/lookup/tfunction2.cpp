// TFUNCTION2 gives the transfer function from the auto spectrum at the input of a system, a power, and the cross spectrum
// of input and output: cross over auto at each position, as decibels and angle.

#include <cmath>

#include "frame/commands.h"
#include "frame/element_type.h"
#include "frame/mathematics.h"
#include "host/parameters.h"
#include "lookup/transfer.h"

namespace zcmds {

const char* const tfunction2Signature =
    "( in     pipe   (int32|float|double)  srcr1 ,   in     typeof(srcr1)  srcr2 ,   const  typeof(srcr1)  srci2 ,   "
    "out    typeof(srcr1)  mag ,   out    typeof(srcr1)  phase   [ ,       ( const  elementof(srcr1)  scale  |         "
    "const  elementof(srcr1)  lim1 ,         const  elementof(srcr1)  lim2   |         const  elementof(srcr1)  scale "
    ",         const  elementof(srcr1)  lim1 ,         const  elementof(srcr1)  lim2 )   ] )";

namespace {

// The limits look at the amplitude, the root of the auto spectrum, but the result is cross over auto itself.
TransferPoint ratioOf(double r1, double r2, double i2, double lim1, double lim2) {
    const double m1 = std::sqrt(r1), m2 = std::sqrt(r2 * r2 + i2 * i2);
    if (m1 < lim1 || m2 / m1 < lim2) return {};
    return {20.0 * mathematics.log10(m2 / r1), mathematics.atan2(i2, r2)};
}

// Each position is read from all three blocks before it is written: the results share the buffers of the first two.
template <class Element>
void transformBlock(const TransferState& state, std::int32_t n) {
    const auto* r1 = static_cast<const Element*>(state.srcr1.ptr);
    const auto *r2 = static_cast<const Element*>(state.srcr2.ptr), *i2 = static_cast<const Element*>(state.srci2.ptr);
    auto *mag = static_cast<Element*>(state.mag.ptr), *phase = static_cast<Element*>(state.phase.ptr);
    for (std::int32_t i = 0; i < n; ++i) {
        const TransferPoint point = ratioOf(static_cast<double>(r1[i]), static_cast<double>(r2[i]),
                                            static_cast<double>(i2[i]), state.lim1, state.lim2);
        storeTransferPoint(point, state.scale, mag[i], phase[i]);
    }
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
