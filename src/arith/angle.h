// The angle of re + i*im in each element type: in fractions of a half turn in the integer types, whose greatest value stands
// for +pi, and in radians in the floating ones.
#pragma once

#include <cstdint>

#include "frame/mathematics.h"

namespace zcmds {

// 0x7fffffff stands for +pi. Of 0 and 0 it is 0.
std::int32_t fixedAngle(std::int32_t im, std::int32_t re);

// The high bits, so that +pi reads as 32767.
inline std::int16_t angle(std::int16_t re, std::int16_t im) {
    return static_cast<std::int16_t>(fixedAngle(im, re) >> 16);
}
inline std::int32_t angle(std::int32_t re, std::int32_t im) { return fixedAngle(im, re); }
inline float angle(float re, float im) { return static_cast<float>(mathematics.atan2(im, re)); }
inline double angle(double re, double im) { return mathematics.atan2(im, re); }

}  // namespace zcmds
