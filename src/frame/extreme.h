// The extreme of a run of samples: the first of equal ones, and where it stands.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <limits>
#include <type_traits>

namespace zcmds {

// The extreme of a block so far. `Beats`, std::greater<> or std::less<>, is strict and false for a NaN, which so is passed
// over.
template <class Sample, class Beats>
struct Extreme {
    using Element = Sample;
    using Result = Sample;

    // What the first element of a block has to beat: a finite value, also in floating types.
    static constexpr Element start = std::is_same_v<Beats, std::greater<>> ? std::numeric_limits<Element>::lowest()
                                                                           : std::numeric_limits<Element>::max();

    Element extreme = start;
    std::int32_t position = 0;  // of the extreme in its block; kept where a block has nothing that beats the start
    std::int32_t taken = 0;     // elements of the block so far

    // The extreme is found stretch by stretch and its place afterwards, once: values that rise all the way would otherwise
    // move the place with each of them.
    void add(const Element* from, std::int32_t n) {
        std::int32_t found = -1;
        for (std::int32_t at = 0; at < n; at += stretch) {
            const Element best = extremeOf(from + at, std::min(stretch, n - at));
            if (!Beats{}(best, extreme)) continue;
            extreme = best;
            found = at;
        }
        if (found >= 0) {
            while (from[found] != extreme) ++found;
            extreme = from[found];  // the first of equal zeros, with its sign
            position = taken + found;
        }
        taken += n;
    }
    Result result(std::int32_t) const { return extreme; }
    void clear() {
        extreme = start;
        taken = 0;
    }

 private:
    static constexpr std::int32_t stretch = 128, lanes = 64 / static_cast<std::int32_t>(sizeof(Element));

    static Element better(Element x, Element held) { return Beats{}(x, held) ? x : held; }

    static Element extremeOf(const Element* from, std::int32_t n) {
        Element best[lanes];
        std::fill(best, best + lanes, start);
        std::int32_t i = 0;
        for (; i + lanes <= n; i += lanes)
            for (std::int32_t lane = 0; lane < lanes; ++lane) best[lane] = better(from[i + lane], best[lane]);
        for (; i < n; ++i) best[0] = better(from[i], best[0]);
        for (std::int32_t half = lanes / 2; half > 0; half /= 2)
            for (std::int32_t lane = 0; lane < half; ++lane) best[lane] = better(best[lane + half], best[lane]);
        return best[0];
    }
};

}  // namespace zcmds
