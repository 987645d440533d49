// The integer part of a square root. A value below 1 gives 0.
//
// The definition is Newton's method from a first estimate well above the root, which ends at the integer part for every
// value. The root as a double ends there too, with far fewer divisions, and vectorises.
#pragma once

#include <cmath>
#include <cstdint>

namespace zcmds {

// At most 46340. The root of 31 bits is exact enough as a double: no root that is not whole rounds up to the next integer.
inline std::int32_t integerSqrt32(std::int32_t value) {
    return static_cast<std::int32_t>(std::sqrt(static_cast<double>(value < 1 ? 0 : value)));
}

// At most 3037000499, so its square fits. Just below a square of more than 53 bits the root as a double rounds up to the
// root of the square, and never down below it.
inline std::int64_t integerSqrt64(std::int64_t value) {
    if (value < 1) return 0;
    const auto root = static_cast<std::int64_t>(std::sqrt(static_cast<double>(value)));
    return root - (root * root > value ? 1 : 0);
}

}  // namespace zcmds
