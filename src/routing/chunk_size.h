// Copies of a few elements cost least where the compiler knows their number.
#pragma once

#include <bit>
#include <cstdint>

namespace zcmds {

inline constexpr std::int32_t maxChunk = 32;

// Calls `routine.operator()<chunk>()` with the smallest power of two that is not below `n`, which is 1 to maxChunk.
template <class Routine>
void forChunkSize(std::int32_t n, Routine routine) {
    switch (std::bit_ceil(static_cast<std::uint32_t>(n))) {
        case 1:
            return routine.template operator()<1>();
        case 2:
            return routine.template operator()<2>();
        case 4:
            return routine.template operator()<4>();
        case 8:
            return routine.template operator()<8>();
        case 16:
            return routine.template operator()<16>();
        default:
            return routine.template operator()<maxChunk>();
    }
}

}  // namespace zcmds
