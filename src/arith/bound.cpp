// BOUND holds each sample between two limits, which are read once, at the start.

#include "arith/value_pair.h"
#include "frame/element_loop.h"
#include "frame/element_type.h"
#include "host/parameters.h"
#include "module/commands.h"

namespace zcmds {

const char* const boundSignature =
    "( in    pipe     (int16|int32|float|double)  src ,   in    storage  elementof(src)  low ,   "
    "in    storage  elementof(src)  high ,   out   typeof(src)  dest )";

namespace {

// The low limit is asked first: it holds for what is at or below it, also where the limits are crossed, and the high limit
// for the rest at or above it. A NaN passes. (Both are asked in any case, so that the loop vectorises.)
template <class Element>
struct Bounded {
    Element low;
    Element high;

    Element operator()(Element x) const {
        const Element belowHigh = x >= high ? high : x;
        return x <= low ? low : belowHigh;
    }
};

}  // namespace

std::uint32_t bound(ParamList list) {
    StreamReader reader;
    StreamWriter writer;
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 4, 4, anyPipe, anyScalar, anyScalar, anyPipe);
    const LimitPair limits = openPairWithLimits(list, params, {.source = 1, .destination = 4}, reader, writer);
    return forElementType(zepl::param_type(list, 1), [&]<class Element>() -> std::uint32_t {
        transformBlocks<Element>(reader, writer, Bounded<Element>{limits.low.as<Element>(), limits.high.as<Element>()});
    });
}

}  // namespace zcmds
