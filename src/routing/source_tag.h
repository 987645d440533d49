// The tag of a source in a merged stream: its place among the sources, from 0, as an element of the stream's type.
#pragma once

#include "frame/exact.h"

namespace zcmds {

template <class Element>
constexpr Element tagOf(std::uint32_t source) {
    if constexpr (std::is_integral_v<Element>)
        return wrap<Element>(source);
    else
        return static_cast<Element>(source);
}

// The maximum number of branches that MERGEF, BMERGEF, SEPARATE and SEPARATEF take.
inline constexpr std::int32_t maxBranches = 64;

}  // namespace zcmds
