// The angle of re + i*im in each element type: in fractions of a half turn in the integer types, whose maximum means +pi,
// and in radians in the floating ones.
#pragma once

#include <cstdint>

#include "frame/mathematics.h"

namespace zcmds {

// 0x7fffffff means +pi. The angle of 0 and 0 is 0.
std::int32_t fixedAngle(std::int32_t im, std::int32_t re);

// The high bits, so that +pi reads as 32767.
inline std::int16_t angle(std::int16_t re, std::int16_t im) {
    return static_cast<std::int16_t>(fixedAngle(im, re) >> 16);
}
inline std::int32_t angle(std::int32_t re, std::int32_t im) { return fixedAngle(im, re); }

// Of `n` pairs; `angles` may be in the place of either part.
void anglesOf(const float* re, const float* im, float* angles, std::int32_t n);
inline void anglesOf(const double* re, const double* im, double* angles, std::int32_t n) {
    mathematics.atan2Array(im, re, angles, n);
}
template <class Integer>
void anglesOf(const Integer* re, const Integer* im, Integer* angles, std::int32_t n) {
    for (std::int32_t i = 0; i < n; ++i) angles[i] = angle(re[i], im[i]);
}

}  // namespace zcmds
