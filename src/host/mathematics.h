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

// The same functions of `n` arguments, to the bit what a call of the scalar operation for each gives; 0 and below are none. The
// result may be an argument's own memory, and may not overlap it otherwise. A host need not have these: a module looks them
// up at its start-up (ModuleProcAddressGet), does not link to them, and calls the scalar ones where they are missing.
void exp_array(const double* x, double* result, std::int32_t n);
void log10_array(const double* x, double* result, std::int32_t n);
void cos_array(const double* x, double* result, std::int32_t n);
void sin_array(const double* x, double* result, std::int32_t n);
void atan2_array(const double* y, const double* x, double* result, std::int32_t n);
void pow_array(const double* x, const double* y, double* result, std::int32_t n);

}  // namespace zepl
