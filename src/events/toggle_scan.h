// The search for the next sample that lies in a region.
#pragma once

#include <cstdint>

namespace zcmds {

// The index of the first of `n` samples with low <= x <= high (region 0) or without (region 1); `n` if there is none.
// Nothing lies in a region of another number. Limits in the wrong order have nothing inside and everything outside.
std::int32_t firstInRegion(const std::int16_t* samples, std::int32_t n, std::int32_t region, std::int16_t low,
                           std::int16_t high);

}  // namespace zcmds
