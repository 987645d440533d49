// The window of DFT: a table of floats, made or converted at set-up. Its codes are not FFT's, and integer vectors are taken
// at face value.
#pragma once

#include <cstdint>

#include "frame/types.h"

namespace zcmds {

struct DftWindow {
    std::int32_t code;     // of a named window; 5 for a vector
    std::uint32_t length;  // N
    const float* table;    // N entries
};

constexpr std::int32_t dftVectorWindow = 5;

// Makes the table of the window with this code, 0 to 4: rectangular, Bartlett, von Hann, Hamming, Blackman.
DftWindow makeDftWindow(std::int32_t code, std::uint32_t length);

// Takes the vector's entries for the table: those of a float vector in place, others converted.
DftWindow convertDftWindow(VectorHandle vector, std::uint32_t length);

}  // namespace zcmds
