// Figures that reports and snapshots share.
#pragma once

#include <algorithm>
#include <cstring>

#include "runtime/engine/engine.h"

namespace libzepl {

// What the slowest reader has not read.
template <class ChannelType>
std::uint64_t unreadOf(const ChannelType& channel) {
    std::uint64_t unread = 0;
    for (const auto* reader : channel.readers) unread = std::max(unread, reader->available());
    return unread;
}

inline std::variant<std::int64_t, double> valueOf(const Variable& variable) {
    return withElementType(variable.type, [&]<class Element>() -> std::variant<std::int64_t, double> {
        Element value;
        std::memcpy(&value, variable.cell.bytes, sizeof value);
        if constexpr (std::is_integral_v<Element>)
            return std::int64_t{value};
        else
            return double{value};
    });
}

}  // namespace libzepl
