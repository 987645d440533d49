// From the doubles of a spectrum to the elements of an output.
#pragma once

#include <limits>
#include <type_traits>

#include "frame/exact.h"

namespace zcmds {

// Clamps to the element's range, then truncates toward zero or rounds; a NaN passes the clamp.
template <class Element>
constexpr Element clampTo(double x) {
    constexpr double min = std::numeric_limits<Element>::lowest(), max = std::numeric_limits<Element>::max();
    return truncateTo<Element>(x > max ? max : min > x ? min : x);
}

// The same for integers; floating elements round, and overflow to infinity.
template <class Element>
constexpr Element clampIntegerTo(double x) {
    if constexpr (std::is_integral_v<Element>)
        return clampTo<Element>(x);
    else
        return static_cast<Element>(x);
}

}  // namespace zcmds
