// VARIANCE gives the population variance of each block of samples. An int16 stream can have it as int32, without a clamp.

#include "frame/element_type.h"
#include "host/parameters.h"
#include "module/commands.h"
#include "stats/block_reducer.h"
#include "stats/block_sums.h"

namespace zcmds {

const char* const varianceSignature =
    "( ( in     pipe     int16  src ,     const  storage  (int16|int32)  bsize ,     "
    "out    pipe     int32  dest  |     in     pipe     (int16|int32|float|double)  src ,     "
    "const  storage  (int16|int32)  bsize ,     out    typeof(src)   dest )  ) ";

namespace {

// int16 to int16 is held at 32767; what 32 bits don't hold wraps.
template <class Sample, class Variance>
struct BlockVariance : Moments<Sample> {
    using Element = Sample;
    using Result = Variance;

    template <class Divide>
    Result result(std::int32_t bsize, Divide divide) const {
        const SumOf<Sample> variance = this->variance(bsize, divide);
        if constexpr (std::is_same_v<Result, std::int16_t>)
            return static_cast<std::uint64_t>(variance) > 32767 ? Result{32767} : static_cast<Result>(variance);
        else if constexpr (std::is_same_v<Result, std::int32_t>)
            return wrap<Result>(variance);
        else
            return static_cast<Result>(variance);
    }
};

}  // namespace

std::uint32_t variance(ParamList list) {
    BlockStreams streams;
    openBlockStreams(list, streams, false);
    const ParamMask source = zepl::param_type(list, 1), destination = zepl::param_type(list, 3);
    const bool widens = source == pipeInt16 && destination == pipeInt32;
    if (source != destination && !widens) zepl::param_error_msg(ParamError::typeMismatch, 3);
    if (widens) reduceBlocks(streams, BlockVariance<std::int16_t, std::int32_t>{});
    return forElementType(
        source, [&]<class Element>() -> std::uint32_t { reduceBlocks(streams, BlockVariance<Element, Element>{}); });
}

}  // namespace zcmds
