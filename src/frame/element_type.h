// The choice of a routine by element type, made once at set-up.
#pragma once

#include <cstdint>

#include "frame/types.h"

namespace zcmds {

// Calls `routine.operator()<Element>()` for the pipe kind `pipeType` and gives its result; 0 for any other kind.
template <class Routine>
std::uint32_t forElementType(ParamMask pipeType, Routine routine) {
    switch (pipeType) {
        case pipeInt16:
            return routine.template operator()<std::int16_t>();
        case pipeInt32:
            return routine.template operator()<std::int32_t>();
        case pipeFloat:
            return routine.template operator()<float>();
        case pipeDouble:
            return routine.template operator()<double>();
        default:
            return 0;
    }
}

// Bytes of an element; 0 for what is no pipe kind.
inline std::uint32_t elementSizeOf(ParamMask pipeType) {
    return forElementType(pipeType, []<class Element>() -> std::uint32_t { return sizeof(Element); });
}

}  // namespace zcmds
