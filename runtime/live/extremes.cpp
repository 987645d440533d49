#include "runtime/live/extremes.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "runtime/base/vector_clones.h"

namespace libzepl {

namespace {

// Least and greatest elements, of each lane of a vector.
template <class Element, std::size_t lanes>
struct Bounds {
    typedef Element Vector __attribute__((vector_size(lanes * sizeof(Element))));

    // A comparison with what is no number is false, which leaves the lane as it is.
    [[gnu::always_inline]] void take(const Vector& low, const Vector& high) {
        least = low < least ? low : least;
        greatest = high > greatest ? high : greatest;
    }
    // Of both halves: a column has so few elements that this, too, is to take vectors.
    [[gnu::always_inline]] Bounds<Element, lanes / 2> folded() const {
        Bounds<Element, lanes / 2> low, high;
        std::memcpy(&low.least, &least, sizeof low.least);
        std::memcpy(&low.greatest, &greatest, sizeof low.greatest);
        std::memcpy(&high.least, reinterpret_cast<const std::byte*>(&least) + sizeof low.least, sizeof low.least);
        std::memcpy(&high.greatest, reinterpret_cast<const std::byte*>(&greatest) + sizeof low.greatest,
                    sizeof low.greatest);
        low.take(high.least, high.greatest);
        return low;
    }

    Vector least, greatest;
};

template <class Element, std::size_t lanes>
[[gnu::always_inline]] inline Bounds<Element, 2> foldedToPair(const Bounds<Element, lanes>& bounds) {
    if constexpr (lanes == 2)
        return bounds;
    else
        return foldedToPair(bounds.folded());
}

template <class Element>
[[gnu::always_inline]] inline Extremes extremesIn(const Element* x, std::size_t n) {
    constexpr std::size_t lanes = 64 / sizeof(Element);
    using Limits = std::numeric_limits<Element>;
    constexpr Element top = Limits::has_infinity ? Limits::infinity() : Limits::max();
    constexpr Element bottom = Limits::has_infinity ? -Limits::infinity() : Limits::lowest();
    using Widest = Bounds<Element, lanes>;
    Widest bounds{typename Widest::Vector{} + top, typename Widest::Vector{} + bottom};
    std::size_t at = 0;
    for (; at + lanes <= n; at += lanes) {
        typename Widest::Vector elements;
        std::memcpy(&elements, x + at, sizeof elements);
        bounds.take(elements, elements);
    }
    const auto pair = foldedToPair(bounds);
    Element least = std::min<Element>(pair.least[0], pair.least[1]);
    Element greatest = std::max<Element>(pair.greatest[0], pair.greatest[1]);
    for (; at < n; ++at) {
        least = x[at] < least ? x[at] : least;
        greatest = x[at] > greatest ? x[at] : greatest;
    }
    return {static_cast<double>(least), static_cast<double>(greatest)};
}

LIBZEPL_VECTOR_CLONES Extremes extremes(const std::int16_t* x, std::size_t n) { return extremesIn(x, n); }
LIBZEPL_VECTOR_CLONES Extremes extremes(const std::int32_t* x, std::size_t n) { return extremesIn(x, n); }
LIBZEPL_VECTOR_CLONES Extremes extremes(const float* x, std::size_t n) { return extremesIn(x, n); }
LIBZEPL_VECTOR_CLONES Extremes extremes(const double* x, std::size_t n) { return extremesIn(x, n); }

}  // namespace

Extremes extremesOf(ElementType type, const void* elements, std::size_t n) {
    return withElementType(type, [&]<class Element>() { return extremes(static_cast<const Element*>(elements), n); });
}

}  // namespace libzepl
