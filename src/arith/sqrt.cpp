// SQRT gives the square root of each sample. A negative sample gives 0.

#include <cmath>

#include "arith/unary.h"
#include "frame/element_loop.h"
#include "frame/element_type.h"
#include "frame/integer_sqrt.h"
#include "host/parameters.h"
#include "module/commands.h"

namespace zcmds {

const char* const sqrtSignature = "( in    pipe     (int16|int32|float|double)  src  ,   out   typeof(src)   dest  )";

namespace {

std::int16_t root(std::int16_t x) { return static_cast<std::int16_t>(integerSqrt32(x)); }
std::int32_t root(std::int32_t x) { return integerSqrt32(x); }

// The types treat a negative zero differently: in float it is no negative sample and stays as it is, in double it gives a
// positive zero. A NaN stays a NaN in both. (The root is taken before it is known to be wanted, so that the loops vectorise.)
float root(float x) {
    const auto ofAny = static_cast<float>(std::sqrt(static_cast<double>(x)));
    return x < 0 ? 0 : ofAny;
}
double root(double x) {
    const double ofAny = std::sqrt(x);
    return x <= 0 ? 0 : ofAny;
}

}  // namespace

std::uint32_t sqrt(ParamList list) {
    StreamReader reader;
    StreamWriter writer;
    openUnaryPair(list, reader, writer);
    return forElementType(zepl::param_type(list, 1), [&]<class Element>() -> std::uint32_t {
        transformBlocks<Element>(reader, writer, [](Element x) { return root(x); });
    });
}

}  // namespace zcmds
