// What the tests of controllers share.
#pragma once

#include <cmath>

#include "tests/support/call.h"
#include "tests/support/covered.h"
#include "tests/support/samples.h"

namespace libzepl {

// All input is there before any task runs, so that it does not hang on its arrival which value meets which.
inline SessionOptions atOnce() { return {.feed = {.kind = FeedPolicy::Kind::whole}}; }

// A number as addCall takes it, of the type of the elements.
template <class Element>
std::string constantOf(double value) {
    return std::to_string(value) + "slfd"[static_cast<std::size_t>(elementTypeOf<Element>())];
}

template <class Element>
class Controller : public testing::Test {};
using Elements = testing::Types<std::int16_t, std::int32_t, float, double>;

}  // namespace libzepl
