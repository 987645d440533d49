// The extreme of each block of samples, for HIGH and LOW: the first of equal ones, and where it stands in its block.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <type_traits>

#include "frame/element_type.h"
#include "frame/exact.h"
#include "host/parameters.h"
#include "stats/block_reducer.h"

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
        std::array<Element, lanes> best;
        best.fill(start);
        std::int32_t i = 0;
        for (; i + lanes <= n; i += lanes)
            for (std::int32_t lane = 0; lane < lanes; ++lane) best[lane] = better(from[i + lane], best[lane]);
        for (; i < n; ++i) best[0] = better(from[i], best[0]);
        for (std::int32_t half = lanes / 2; half > 0; half /= 2)
            for (std::int32_t lane = 0; lane < half; ++lane) best[lane] = better(best[lane + half], best[lane]);
        return best[0];
    }
};

// HIGH and LOW as a whole.
template <class Beats>
std::uint32_t extremesOfBlocks(ParamList list) {
    BlockStreams streams;
    const bool withLoc =
        openBlockStreams(list, streams.reader, streams.writer, streams.locWriter, streams.bsize, true, true);
    const ParamMask loc = withLoc ? zepl::param_type(list, 4) : 0;
    return forElementType(zepl::param_type(list, 1), [&]<class Element>() -> std::uint32_t {
        if (!withLoc) reduceBlocks(streams, Extreme<Element, Beats>{});
        if (loc == pipeInt16) reduceBlocks<std::int16_t>(streams, Extreme<Element, Beats>{});
        reduceBlocks<std::int32_t>(streams, Extreme<Element, Beats>{});
    });
}

}  // namespace zcmds
