// The magnitude of re + i*im in each element type, saturated in the integer ones.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "frame/integer_sqrt.h"

namespace zcmds {

// A part of -32768 has the magnitude 32767 whatever the other, and so has one of -32767.
inline std::int16_t magnitude(std::int16_t re, std::int16_t im) {
    const std::int32_t a = std::max<std::int16_t>(re, -32767), b = std::max<std::int16_t>(im, -32767);
    return static_cast<std::int16_t>(std::min(integerSqrt32(a * a + b * b), 32767));
}

// The most negative part gives -1, all bits set, which no magnitude is.
inline std::int32_t magnitude(std::int32_t re, std::int32_t im) {
    constexpr std::int32_t min = std::numeric_limits<std::int32_t>::min();
    if (re == min || im == min) return -1;
    const std::int64_t a = re, b = im;
    return static_cast<std::int32_t>(std::min<std::int64_t>(integerSqrt64(a * a + b * b), 0x7fffffff));
}

// In double, in which the squares of floats neither overflow nor vanish.
inline float magnitude(float re, float im) {
    const double a = re, b = im;
    return static_cast<float>(std::sqrt(a * a + b * b));
}
inline double magnitude(double re, double im) { return std::sqrt(re * re + im * im); }

}  // namespace zcmds
