// What the tests of controllers share.
#pragma once

#include <cmath>

#include "tests/support/call.h"
#include "tests/support/covered.h"
#include "tests/support/samples.h"

namespace libzepl {

// All input is there before any task runs, so that it does not hang on its arrival which value meets which.
inline SessionOptions atOnce() { return {.feed = {.kind = FeedPolicy::Kind::whole}}; }

template <class Element>
class Controller : public testing::Test {};

}  // namespace libzepl
