#include "runtime/live/extremes.h"

#include <algorithm>
#include <limits>

#include "runtime/base/vector_clones.h"

namespace libzepl {

namespace {

// A lane for each element of a widest vector. A comparison with what is no number is false, which leaves the lane as it is.
template <class Element>
[[gnu::always_inline]] inline Extremes extremesIn(const Element* x, std::size_t n) {
    constexpr std::size_t lanes = 64 / sizeof(Element);
    using Limits = std::numeric_limits<Element>;
    constexpr Element top = Limits::has_infinity ? Limits::infinity() : Limits::max();
    constexpr Element bottom = Limits::has_infinity ? -Limits::infinity() : Limits::lowest();
    Element least[lanes], greatest[lanes];
    std::fill_n(least, lanes, top);
    std::fill_n(greatest, lanes, bottom);
    std::size_t at = 0;
    for (; at + lanes <= n; at += lanes) {
        for (std::size_t lane = 0; lane < lanes; ++lane) {
            least[lane] = x[at + lane] < least[lane] ? x[at + lane] : least[lane];
            greatest[lane] = x[at + lane] > greatest[lane] ? x[at + lane] : greatest[lane];
        }
    }
    for (; at < n; ++at) {
        least[0] = x[at] < least[0] ? x[at] : least[0];
        greatest[0] = x[at] > greatest[0] ? x[at] : greatest[0];
    }
    return {static_cast<double>(*std::min_element(least, least + lanes)),
            static_cast<double>(*std::max_element(greatest, greatest + lanes))};
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
