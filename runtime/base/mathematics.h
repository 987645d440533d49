// Mathematical functions that the contract with modules lacks, from the library that gives its others (defined with them, in
// runtime/host): one result on every processor, and one quiet NaN.
#pragma once

namespace libzepl {

double naturalLogarithm(double x);
double tangent(double x);

}  // namespace libzepl
