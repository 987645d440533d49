// Lists of masks that are too long to be typed: their length comes from the same count as the list's maximum.
#pragma once

#include <array>
#include <cstddef>
#include <tuple>

#include "frame/types.h"
#include "host/parameters.h"

namespace zcmds {

// `count` masks of the same kinds, as a part of a list.
template <std::int32_t count>
constexpr auto times(ParamMask mask) {
    std::array<ParamMask, static_cast<std::size_t>(count)> masks{};
    masks.fill(mask);
    return masks;
}

// param_process with the masks of `parts`, each a tuple or an array of masks, one part after the other.
template <class... Parts>
const Slot* processList(ParamList list, std::int32_t* count, std::int32_t minimum, std::int32_t maximum,
                        const Parts&... parts) {
    return std::apply([&](auto... masks) { return zepl::param_process(list, count, minimum, maximum, masks...); },
                      std::tuple_cat(parts...));
}

}  // namespace zcmds
