// Functions given by a table of points, and straight lines between them, in integers.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "frame/exact.h"

namespace zcmds {

// The value at each ratio; the ratios ascend.
template <std::size_t points>
struct Curve {
    std::array<std::int32_t, points> ratios;
    std::array<std::int32_t, points> values;
};

// Each octave is cut in eight equal steps, which are counted from 1 on. Of a ratio from 1 on.
constexpr std::size_t stepsInOctave = 8;
constexpr std::size_t stepOf(std::int64_t ratio) {
    constexpr int belowSteps = 52 - 3;  // bits of the fraction that distinguish positions within a step
    const auto bits = std::bit_cast<std::uint64_t>(static_cast<double>(ratio)) >> belowSteps;
    return static_cast<std::size_t>(bits - (std::bit_cast<std::uint64_t>(1.0) >> belowSteps));
}

// Where to look for the point below a ratio: the last point that is not above the start of the ratio's step. Points are so
// far apart that at most two more are within the step.
template <std::size_t points>
struct CurveIndex {
    std::array<std::uint8_t, 31 * stepsInOctave> pointAtStep{};

    constexpr explicit CurveIndex(const Curve<points>& curve) {
        std::size_t point = 0;
        for (std::size_t step = 0; step < pointAtStep.size(); ++step) {
            const std::size_t before = point;
            while (point + 1 < points && startsBy(curve.ratios[point + 1], step)) ++point;
            if (step > 0 && point > before + 2) throw "more points in a step than pointBelow looks at";
            pointAtStep[step] = static_cast<std::uint8_t>(point);
        }
    }

 private:
    // Whether the ratio is not above the start of the step.
    static constexpr bool startsBy(std::int64_t ratio, std::size_t step) {
        const std::int64_t start = static_cast<std::int64_t>(stepsInOctave + step % stepsInOctave)
                                   << (step / stepsInOctave);
        return ratio * static_cast<std::int64_t>(stepsInOctave) <= start;
    }
};

template <const auto& curve>
inline constexpr CurveIndex indexOf{curve};

// The last point whose ratio is not above `ratio`, which lies from the first ratio to below the last.
template <const auto& curve>
std::size_t pointBelow(std::int64_t ratio) {
    std::size_t point = indexOf<curve>.pointAtStep[stepOf(ratio)];
    for (int more = 0; more < 2; ++more) point += curve.ratios[point + 1] <= ratio ? 1 : 0;
    return point;
}

// The value at `ratio` on the line between its neighbours, truncated; beyond the ends, the value at the end.
template <const auto& curve>
std::int32_t valueAt(std::int64_t ratio) {
    const auto& [ratios, values] = curve;
    if (ratio <= ratios.front()) return values.front();
    if (ratio >= ratios.back()) return values.back();
    const std::size_t at = pointBelow<curve>(ratio);
    const std::int64_t rise = values[at + 1] - values[at];
    const std::int32_t run = ratios[at + 1] - ratios[at];
    return static_cast<std::int32_t>(values[at] + divideThroughDouble(rise * (ratio - ratios[at]), run));
}

}  // namespace zcmds
