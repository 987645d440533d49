// The standard mathematical functions in double precision.
#pragma once

#include <cstdint>

namespace zepl {

double sqrt(double x);
double fabs(double x);
double floor(double x);
double exp(double x);
double log10(double x);
double cos(double x);
double sin(double x);
double atan2(double y, double x);
double pow(double x, double y);

// The integer part of the square root of a positive value.
std::int32_t isqrt(std::int32_t value);

}  // namespace zepl
