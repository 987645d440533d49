// STDDEV gives the standard deviation of each block of samples, the root of its population variance.

#include "frame/element_type.h"
#include "host/parameters.h"
#include "module/commands.h"
#include "stats/block_reducer.h"
#include "stats/block_sums.h"

namespace zcmds {

const char* const stddevSignature =
    "( in     pipe      (int16|int32|float|double)  src ,   const  storage   (int16|int32)  bsize ,   "
    "out    typeof(src)  dest  )";

namespace {

template <class Sample>
struct StandardDeviation : Moments<Sample> {
    using Element = Sample;
    using Result = Sample;

    template <class Divide>
    Result result(std::int32_t bsize, Divide divide) const {
        return storedRoot<Sample>(this->variance(bsize, divide));
    }
};

}  // namespace

std::uint32_t stddev(ParamList list) {
    BlockStreams streams;
    openBlockStreams(list, streams, true);
    return forElementType(zepl::param_type(list, 1), [&]<class Element>() -> std::uint32_t {
        reduceBlocks(streams, StandardDeviation<Element>{});
    });
}

}  // namespace zcmds
