// RANGE keeps the samples that lie between two limits, or those that don't, and drops the others. The limits are read once,
// at the start.

#include <algorithm>
#include <cstdint>

#include "arith/value_pair.h"
#include "frame/element_loop.h"
#include "frame/element_type.h"
#include "frame/vector_clones.h"
#include "host/parameters.h"
#include "module/commands.h"

namespace zcmds {

const char* const rangeSignature =
    "( in    pipe     (int16|int32|float|double)  src ,   const storage   keyword   region  limits,  "
    "in    storage   elementof(src)  low ,   in    storage   elementof(src)  high ,   out   typeof(src)  dest )";

namespace {

// Which elements are kept: those from `low` to `high`, or all others. A NaN is in no range, so it is one of the others.
template <class Element>
struct KeepIf {
    Element low;
    Element high;
    std::uint8_t outside;  // 0, or 1 for the others
};

// Sets flags[i] to 1 if element i is kept, else to 0.
template <class Element>
ZCMDS_VECTOR_CLONES void setKeepFlags(const Element* elements, std::int32_t n, KeepIf<Element> keepIf,
                                      std::uint8_t* flags) {
    for (std::int32_t i = 0; i < n; ++i)
        flags[i] = static_cast<std::uint8_t>(
            ((keepIf.low <= elements[i] ? 1 : 0) & (elements[i] <= keepIf.high ? 1 : 0)) ^ keepIf.outside);
}

// Moves the kept ones of the `n` elements to the block's start, in their order, and returns their number. A store to
// be overwritten by the next kept element costs less than a branch.
template <class Element>
std::int32_t compactBlock(Element* elements, std::int32_t n, KeepIf<Element> keepIf) {
    constexpr std::int32_t segment = 1024;
    std::uint8_t flags[segment];
    Element* to = elements;
    for (std::int32_t at = 0; at < n; at += segment) {
        const std::int32_t end = std::min(segment, n - at);
        setKeepFlags(elements + at, end, keepIf, flags);
        for (std::int32_t i = 0; i < end; ++i) {
            *to = elements[at + i];
            to += flags[i];
        }
    }
    return static_cast<std::int32_t>(to - elements);
}

}  // namespace

std::uint32_t range(ParamList list) {
    StreamReader reader;
    StreamWriter writer;
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 5, 5, anyPipe, hostKeyword, anyScalar, anyScalar, anyPipe);
    const std::uint8_t outside = *valueIn<std::uint32_t>(params[2]) != 0 ? 1 : 0;
    const LimitPair limits = openPairWithLimits(list, params, {.source = 1, .destination = 5}, reader, writer);
    return forElementType(zepl::param_type(list, 1), [&]<class Element>() -> std::uint32_t {
        const KeepIf<Element> keepIf{limits.low.as<Element>(), limits.high.as<Element>(), outside};
        processBlocks<Element>(
            reader, writer, [keepIf](Element* elements, std::int32_t n) { return compactBlock(elements, n, keepIf); });
    });
}

}  // namespace zcmds
