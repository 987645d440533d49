// The extreme of a run of samples: the first of equal ones, and its position.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <type_traits>

namespace zcmds {

template <class Beats>
constexpr bool isHighest = std::is_same_v<Beats, std::greater<>>;

// The better of two elements; `Beats`, std::greater<> or std::less<>, is strict, so that `held` wins against its equals,
// and false for a NaN, which is thus passed over.
template <class Beats, class Element>
Element better(Element x, Element held) {
    return Beats{}(x, held) ? x : held;
}

// The best of `n` elements and `held`, but any one of equals.
template <class Beats, class Element>
Element bestOf(const Element* from, std::int32_t n, Element held) {
    std::int32_t i = 0;
    if constexpr (std::is_floating_point_v<Element>) {
        // The compiler may not reorder comparisons of elements among which are zeros and NaNs; here their order is free.
        using Lanes [[gnu::vector_size(32)]] = Element;
        constexpr std::int32_t lanes = sizeof(Lanes) / sizeof(Element);
        Lanes even = held - Lanes{}, odd = even;
        for (; i + 2 * lanes <= n; i += 2 * lanes) {
            Lanes x, y;
            std::memcpy(&x, from + i, sizeof x);
            std::memcpy(&y, from + i + lanes, sizeof y);
            even = (isHighest<Beats> ? x > even : x < even) ? x : even;
            odd = (isHighest<Beats> ? y > odd : y < odd) ? y : odd;
        }
        for (std::int32_t lane = 0; lane < lanes; ++lane)
            held = better<Beats>(even[lane], better<Beats>(odd[lane], held));
    }
    for (; i < n; ++i) held = better<Beats>(from[i], held);
    return held;
}

// The index of the first of `n` elements that equals `x`, which is among them.
template <class Element>
std::int32_t indexOf(Element x, const Element* from, std::int32_t n) {
    std::int32_t first = n;
    for (std::int32_t i = 0; i < n; ++i) first = std::min(first, from[i] == x ? i : n);
    return first;
}

// The extreme of a block so far and, if `located`, its position.
template <class Sample, class Beats, bool located>
struct Extreme {
    using Element = Sample;
    using Result = Sample;

    // What the first element of a block has to beat: a finite value, also in floating types.
    static constexpr Element start =
        isHighest<Beats> ? std::numeric_limits<Element>::lowest() : std::numeric_limits<Element>::max();

    Element extreme = start;
    std::int32_t position = 0;  // of the extreme in its block; kept where a block has nothing that beats the start
    std::int32_t taken = 0;     // elements of the block so far

    // The extreme is found segment by segment and its position afterwards, once: values that rise all the way would
    // otherwise move the position with each of them.
    void add(const Element* from, std::int32_t n) {
        std::int32_t found = -1;
        for (std::int32_t at = 0; at < n; at += segment) {
            const Element best = bestOf<Beats>(from + at, std::min(segment, n - at), extreme);
            if (!Beats{}(best, extreme)) continue;
            extreme = best;
            found = at;
        }
        if (found >= 0 && (located || isZero(extreme))) {
            found += indexOf(extreme, from + found, std::min(segment, n - found));
            extreme = from[found];
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
    static constexpr std::int32_t segment = 128;

    // Only equal zeros can differ: by their signs; the first one counts.
    static bool isZero(Element x) { return std::is_floating_point_v<Element> && x == 0; }
};

}  // namespace zcmds
