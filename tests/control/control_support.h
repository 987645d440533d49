// What the tests of controllers share.
#pragma once

#include <cmath>

#include "tests/support/covered.h"
#include "tests/support/samples.h"
#include "tests/support/session_support.h"

namespace libzepl {

// All input is there before any task runs, so that it does not hang on its arrival which value meets which.
inline SessionOptions atOnce() { return {.feed = {.kind = FeedPolicy::Kind::whole}}; }

template <class Element>
TaskArgument constantOf(double value) {
    if constexpr (sizeof(Element) == 2) return int16Constant(static_cast<std::int16_t>(value));
    if constexpr (sizeof(Element) == 8) return doubleConstant(value);
    if constexpr (std::is_same_v<Element, float>) return floatConstant(static_cast<float>(value));
    return int32Constant(static_cast<std::int32_t>(value));
}

// How the first task ends, and what it prints.
inline Lines outcomeOf(TestSession& session) {
    const Report report = session.run();
    Lines lines{statesOf(report)[0]};
    lines.insert(lines.end(), report.console.begin(), report.console.end());
    return lines;
}

template <class Element>
class Controller : public testing::Test {};
using Elements = testing::Types<std::int16_t, std::int32_t, float, double>;

}  // namespace libzepl
