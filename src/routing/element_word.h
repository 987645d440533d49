// Commands that only move elements need their width and not their type.
#pragma once

#include <cstdint>

#include "frame/element_type.h"

namespace zcmds {

// Calls `routine.operator()<Word>()` with the unsigned word of the elements' width and gives its result; 0 for what is no
// pipe kind.
template <class Routine>
std::uint32_t forElementWord(ParamMask pipeType, Routine routine) {
    switch (elementSizeOf(pipeType)) {
        case 2:
            return routine.template operator()<std::uint16_t>();
        case 4:
            return routine.template operator()<std::uint32_t>();
        case 8:
            return routine.template operator()<std::uint64_t>();
        default:
            return 0;
    }
}

}  // namespace zcmds
