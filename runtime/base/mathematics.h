// Mathematical functions that the contract with modules lacks, from the library that gives its others (defined with them, in
// runtime/host): one result on every processor, and one quiet NaN.
#pragma once

#include <cstdint>

namespace libzepl {

double naturalLogarithm(double x);
double tangent(double x);

// The same of `n` arguments, to the bit. The result may be the argument's own memory, and may not overlap it otherwise.
void naturalLogarithms(const double* x, double* result, std::int32_t n);
void tangents(const double* x, double* result, std::int32_t n);

}  // namespace libzepl
