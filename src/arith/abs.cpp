// ABS gives the absolute value of each sample. The most negative integer has no positive counterpart and saturates.

#include <cmath>

#include "arith/unary.h"
#include "frame/element_loop.h"
#include "frame/element_type.h"
#include "frame/exact.h"
#include "host/parameters.h"
#include "module/commands.h"

namespace zcmds {

const char* const absSignature = "( in    pipe     (int16|int32|float|double)  src ,   out   typeof(src)   dest  )";

namespace {

template <class Integer>
Integer absolute(Integer x) {
    return saturatingAbsolute(x);
}
float absolute(float x) { return quietingAbsolute(x); }
double absolute(double x) { return std::fabs(x); }

}  // namespace

std::uint32_t abs(ParamList list) {
    StreamReader reader;
    StreamWriter writer;
    openUnaryPair(list, reader, writer);
    return forElementType(zepl::param_type(list, 1), [&]<class Element>() -> std::uint32_t {
        transformBlocks<Element>(reader, writer, [](Element x) { return absolute(x); });
    });
}

}  // namespace zcmds
