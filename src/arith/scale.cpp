// SCALE gives (x + offset) * mul / div of each sample x. The three can be variables that change while the command runs.

#include <algorithm>
#include <limits>
#include <type_traits>

#include "arith/value_pair.h"
#include "frame/element_loop.h"
#include "frame/element_type.h"
#include "frame/exact.h"
#include "host/parameters.h"
#include "module/commands.h"

namespace zcmds {

const char* const scaleSignature =
    "( in    pipe     (int16|int32|float|double)   src ,   in    storage  contentof(src)   offset ,   "
    "in    storage  contentof(src)   mul ,   in    storage  contentof(src)   div ,   out   typeof(src)   dest  )";

namespace {

// The parameters. An int16 stream's are read as 32-bit words.
template <class Element>
struct Factors {
    using Factor = std::conditional_t<std::is_integral_v<Element>, std::int32_t, Element>;

    Factor offset;
    Factor mul;
    Factor div;
};

template <class Element>
Factors<Element> factorsIn(const Slot* slots) {
    using Factor = typename Factors<Element>::Factor;
    return {*valueIn<Factor>(slots[0]), *valueIn<Factor>(slots[1]), *valueIn<Factor>(slots[2])};
}

// What is to be divided: in 32 bits for int16, in 64 for int32, with no test of overflow.
std::int32_t productOf(std::int16_t x, Factors<std::int16_t> by) {
    return wrappingProduct(wrappingSum(x, by.offset), by.mul);
}
std::int64_t productOf(std::int32_t x, Factors<std::int32_t> by) {
    const std::int64_t sum = std::int64_t{x} + by.offset;
    return wrap<std::int64_t>(static_cast<std::uint64_t>(sum) * static_cast<std::uint64_t>(std::int64_t{by.mul}));
}

// The plain quotients. The one of 64 bits that does not fit wraps; the one of 32 bits is a fault.
std::int32_t quotientOrFault(std::int32_t product, std::int32_t div) { return divideOrFault(product, div); }
std::int64_t quotientOrFault(std::int64_t product, std::int32_t div) {
    if (div == -1) return wrap<std::int64_t>(-static_cast<std::uint64_t>(product));
    return divideOrFault<std::int64_t>(product, div);
}

// Whether an element with these factors can fault or have a product that wraps in 64 bits.
bool needsPlainQuotient(Factors<std::int16_t> by) { return by.div == 0 || by.div == -1; }
bool needsPlainQuotient(Factors<std::int32_t> by) {
    constexpr std::int32_t min = std::numeric_limits<std::int32_t>::min();
    return by.div == 0 || (by.offset == min && by.mul == min);
}

// The reciprocal of `div`, larger in magnitude by a little more than the rounding of three operations: a product with it
// is never nearer to zero than the quotient, and exceeds it by a 2^-49th at most.
double reciprocalBeyond(std::int32_t div) { return 1.0 / div * (1 + 0x1p-50); }

// A quotient of 32-bit numbers that is not whole lies below the next whole one (all as magnitudes) by a 2^-32nd of it or
// more, since that, times the divisor, is below 2^32. So the excess never reaches it, and truncation gives the quotient.
std::int16_t quickQuotient(std::int16_t x, Factors<std::int16_t> by, double reciprocal) {
    return saturate<std::int16_t>(static_cast<std::int32_t>(productOf(x, by) * reciprocal));
}

// The estimate, bounded to 32 bits, is the quotient or, by the excess, one beyond it: then its product with the divisor is
// beyond the dividend.
std::int32_t quickQuotient(std::int32_t x, Factors<std::int32_t> by, double reciprocal) {
    using Limits = std::numeric_limits<std::int32_t>;
    const double estimate = (static_cast<double>(x) + by.offset) * by.mul * reciprocal;
    const double bounded = std::max<double>(Limits::min(), std::min<double>(Limits::max(), estimate));
    const auto quotient = static_cast<std::int32_t>(bounded);
    const std::int64_t product = productOf(x, by), reached = std::int64_t{quotient} * by.div;
    const bool beyond = product < 0 ? reached < product : reached > product;
    return quotient - (beyond ? quotient < 0 ? -1 : 1 : 0);
}

template <class Element>
void scaleBlock(Element* elements, std::int32_t n, Factors<Element> by) {
    if constexpr (std::is_floating_point_v<Element>) {
        transformBlock(elements, n, [by](Element x) { return (by.offset + x) * by.mul / by.div; });
    } else if (needsPlainQuotient(by)) {
        transformBlock(elements, n,
                       [by](Element x) { return saturate<Element>(quotientOrFault(productOf(x, by), by.div)); });
    } else {
        const double reciprocal = reciprocalBeyond(by.div);
        transformBlock(elements, n, [by, reciprocal](Element x) { return quickQuotient(x, by, reciprocal); });
    }
}

}  // namespace

std::uint32_t scale(ParamList list) {
    StreamReader reader;
    StreamWriter writer;
    const ParamPair pair{.source = 1, .destination = 5};
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 5, 5, anyPipe, anyScalar, anyScalar, anyScalar, anyPipe);
    if (!openPairWithValues(list, params, pair, 2, reader, writer)) return 4;
    const Slot* const slots = params + 2;
    return forElementType(zepl::param_type(list, 1), [&]<class Element>() -> std::uint32_t {
        processBlocks<Element>(reader, writer, [slots](Element* elements, std::int32_t n) {
            scaleBlock(elements, n, factorsIn<Element>(slots));
            return n;
        });
    });
}

}  // namespace zcmds
