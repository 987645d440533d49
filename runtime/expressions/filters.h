// Linear-phase filters by their names.
#pragma once

#include <cstddef>
#include <vector>

namespace libzepl {

struct FilterDesign {
    std::size_t taps = 1;    // odd where half the sampling rate is to pass
    bool passesZero = true;  // else what is below the first edge is stopped
    std::vector<double>
        edges;  // where half of the amplitude passes; parts of the sampling rate, rising, within 0 and 0.5
    double attenuation = 80;  // dB, of what is stopped
};

// The taps, symmetric: the ideal response cut by Kaiser's window, whose parameter is that of J. F. Kaiser, "Nonrecursive
// digital filter design using the I0-sinh window function", 1974, scaled to gain 1 at 0, at half the sampling rate, or in the
// middle of the pass band.
std::vector<double> tapsOf(const FilterDesign& design);

}  // namespace libzepl
