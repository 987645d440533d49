// RMS gives the root of the mean square of each block of samples. Integers: mean and root are truncated.

#include "frame/element_type.h"
#include "host/parameters.h"
#include "module/commands.h"
#include "stats/block_reducer.h"
#include "stats/block_sums.h"

namespace zcmds {

namespace {

// The root of a block's mean square. Of a block of -32768 alone it is 32768, which is stored as -32768.
template <class Sample>
struct RootMeanSquare : Moments<Sample> {
    using Element = Sample;
    using Result = Sample;

    template <class Divide>
    Result result(std::int32_t bsize, Divide divide) const {
        return storedRoot<Sample>(this->meanSquare(bsize, divide));
    }
};

}  // namespace

std::uint32_t rms(ParamList list) {
    BlockStreams streams;
    openBlockStreams(list, streams, true);
    return forElementType(zepl::param_type(list, 1),
                          [&]<class Element>() -> std::uint32_t { reduceBlocks(streams, RootMeanSquare<Element>{}); });
}

}  // namespace zcmds
