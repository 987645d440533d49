// Functions given by a table of points, and straight lines between them, in integers.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace zcmds {

// The value at each ratio; the ratios ascend.
template <std::size_t points>
struct Curve {
    std::array<std::int32_t, points> ratios;
    std::array<std::int32_t, points> values;
};

// The last point whose ratio is not above `ratio`; the first is not.
template <std::size_t points>
std::size_t pointBelow(const Curve<points>& curve, std::int64_t ratio) {
    std::size_t point = 0;
    for (std::size_t left = points; left > 1; left -= left / 2)
        point += curve.ratios[point + left / 2] <= ratio ? left / 2 : 0;
    return point;
}

// The value at `ratio` on the line between its neighbours, truncated; beyond the ends, the value at the end.
template <std::size_t points>
std::int32_t valueAt(const Curve<points>& curve, std::int64_t ratio) {
    const auto& [ratios, values] = curve;
    if (ratio <= ratios.front()) return values.front();
    if (ratio >= ratios.back()) return values.back();
    const std::size_t at = pointBelow(curve, ratio);
    const std::int64_t rise = values[at + 1] - values[at], run = ratios[at + 1] - ratios[at];
    return static_cast<std::int32_t>(values[at] + rise * (ratio - ratios[at]) / run);
}

}  // namespace zcmds
