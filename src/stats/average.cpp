// AVERAGE gives the mean of each block of samples. Integer means are rounded, halves away from zero.

#include "frame/element_type.h"
#include "host/parameters.h"
#include "module/commands.h"
#include "stats/block_reducer.h"
#include "stats/block_sums.h"

namespace zcmds {

const char* const averageSignature =
    "( in     pipe     (int16|int32|float|double)  src ,   const  storage  (int16|int32)  bsize ,   "
    "out    typeof(src)  dest )";

namespace {

// A sum of this many int16 elements fits in 32 bits, with the half of their number that rounds it.
constexpr std::int32_t max32BitTerms = 32000;

constexpr std::int64_t roundedMean(std::int64_t sum, std::int32_t bsize) {
    const std::int32_t half = bsize >> 1;
    return dividePositive(sum < 0 ? sum - half : sum + half, bsize);
}

// The sum of a block so far.
template <class Sample, class Sum>
struct Average {
    using Element = Sample;
    using Result = Sample;

    Sum sum = 0;

    void add(const Element* from, std::int32_t n) {
        Sum total = sum;
        for (std::int32_t i = 0; i < n; ++i) total += from[i];
        sum = total;
    }
    Result result(std::int32_t bsize) const {
        if constexpr (std::is_integral_v<Element>)
            return static_cast<Result>(roundedMean(sum, bsize));
        else
            return static_cast<Result>(sum / bsize);
    }
    void clear() { sum = 0; }
};

}  // namespace

std::uint32_t average(ParamList list) {
    BlockStreams streams;
    openBlockStreams(list, streams, true);
    return forElementType(zepl::param_type(list, 1), [&]<class Element>() -> std::uint32_t {
        if constexpr (std::is_same_v<Element, std::int16_t>)
            if (streams.bsize <= max32BitTerms) reduceBlocks(streams, Average<Element, std::int32_t>{});
        reduceBlocks(streams, Average<Element, SumOf<Element>>{});
    });
}

}  // namespace zcmds
