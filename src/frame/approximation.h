// Quick approximations of the host's functions, for results that keep less of them than a double. Where both ends of the
// error's interval are rounded to the same result, the host's value between them is as well, so that the result is the host's
// to the bit (A. Ziv, "Fast evaluation of elementary mathematical functions with correctly rounded last bit", ACM Transactions
// on Mathematical Software, 1991). Where they are not, which is seldom, the caller asks the host.
#pragma once

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numbers>
#include <type_traits>

#include "frame/vector_clones.h"

namespace zcmds {

// The relative distance of an approximation from the function, and from what a host gives that is off by some units in the
// last place, is below this; of a cosine it is the absolute one. What is not a number is the quiet NaN, as the runtime's is.
inline constexpr double approximationError = 0x1p-43;

// The sum of coefficients[k] * z^k, the even and the odd powers apart: they need not wait for each other.
template <std::size_t count>
[[gnu::always_inline]] inline double polynomial(const double (&coefficients)[count], double z) {
    const double square = z * z;
    double last = coefficients[count - 1], other = coefficients[count - 2];
    for (std::size_t k = count - 2; k-- > 0;) {
        const double next = last * square + coefficients[k];
        last = other;
        other = next;
    }
    return last * z + other;
}

// With x = 2^k * m, m next to 1, it is k * log10(2) and a series in the square of (m - 1) / (m + 1), interpolated at
// Chebyshev's nodes. What makes special results of special arguments is added, since a choice would keep compilers from vectors.
[[gnu::always_inline]] inline double approximateLog10(double x) {
    constexpr double series[] = {0x1.bcb7b1526e440p-1, 0x1.287a7637ead8ep-2, 0x1.63c6247ae436ep-3,
                                 0x1.fc4301f26486ep-4, 0x1.8a737cd04176ep-4, 0x1.5ccd753552548p-4};
    using Limits = std::numeric_limits<double>;
    constexpr double log2 = 0.30102999566398120, bias = 1023;
    constexpr auto rootOfHalf = std::bit_cast<std::uint64_t>(std::numbers::sqrt2 / 2);
    constexpr auto one = std::bit_cast<std::uint64_t>(1.0), integers = std::bit_cast<std::uint64_t>(0x1p52);
    const double raised = x * 0x1p54;
    const bool isSubnormal = x < Limits::min();
    const auto bits = std::bit_cast<std::uint64_t>(isSubnormal ? raised : x);
    const std::uint64_t exponent = (bits + (one - rootOfHalf)) >> 52;  // biased
    const double m = std::bit_cast<double>(bits - (exponent << 52) + one);
    const double k = std::bit_cast<double>(exponent | integers) - (0x1p52 + bias) - (isSubnormal ? 54 : 0);
    const double ratio = (m - 1) / (m + 1);
    const double ofNone = x == 0 ? -Limits::infinity() : Limits::quiet_NaN();
    return k * log2 + ratio * polynomial(series, ratio * ratio) + (x > 0 ? 0 : ofNone) +
           (x <= Limits::max() ? 0 : Limits::infinity());
}

// Of parts up to 1e300, or one of them infinite; where both are it is no number. Where it is below 1e-200 its error is absolute.
// The quotient of the parts, the smaller above the larger, is turned to within an eighth of a half turn, where a series in its
// square, interpolated at Chebyshev's nodes, gives the angle.
[[gnu::always_inline]] inline double approximateAtan2(double y, double x) {
    constexpr double series[] = {0x1.fffffffffff0fp-1,  -0x1.55555554e6115p-2, 0x1.99999911d787ep-3,
                                 -0x1.2492291db1906p-3, 0x1.c714d4c311554p-4,  -0x1.73d9d72891b8bp-4,
                                 0x1.35cf2e1ebd059p-4,  -0x1.e13d4fe7944cap-5, 0x1.f65f98a6d1466p-6};
    constexpr double tangent = std::numbers::sqrt2 - 1, quarter = std::numbers::pi / 2;
    const double height = std::fabs(y), width = std::fabs(x);
    const bool isSteep = height > width;
    const double larger = isSteep ? height : width, smaller = isSteep ? width : height;
    const bool isFar = smaller > tangent * larger;
    const double dividend = isFar ? smaller - larger : smaller, divisor = isFar ? smaller + larger : larger;
    const double ratio = dividend / (divisor == 0 ? 1 : divisor);
    const double angle = ratio * polynomial(series, ratio * ratio) + (isFar ? quarter / 2 : 0);
    const double upward = isSteep ? quarter - angle : angle;
    return std::copysign((quarter - std::copysign(quarter, x)) + std::copysign(upward, x), y);
}

// Of angles up to this many radians either way. Whole half turns are taken off in three parts, of which the first two have few
// enough bits for exact products; the rest has a series in its square, interpolated at Chebyshev's nodes.
inline constexpr double maxCosineAngle = 0x1p22;
[[gnu::always_inline]] inline double approximateCos(double x) {
    constexpr double series[] = {0x1.fffffffffffefp-1,   -0x1.ffffffffff8eap-2, 0x1.55555555372a2p-5,
                                 -0x1.6c16c15fdb019p-10, 0x1.a019fcc05496ep-16, -0x1.27e3ed51196cep-22,
                                 0x1.1eacab601dbb1p-29,  -0x1.834e7308230c0p-37};
    constexpr double halfTurn[] = {0x1.921fb54400000p+1, 0x1.0b4611a600000p-33, 0x1.3198a2e037073p-68};
    constexpr double integers = 0x1.8p52;
    const double shifted = x * std::numbers::inv_pi + integers, turns = shifted - integers;
    const double rest = ((x - turns * halfTurn[0]) - turns * halfTurn[1]) - turns * halfTurn[2];
    const std::uint64_t sign = std::bit_cast<std::uint64_t>(shifted) << 63;  // an odd number of half turns
    return std::bit_cast<double>(std::bit_cast<std::uint64_t>(polynomial(series, rest * rest)) ^ sign);
}

// Where the host's value lies.
struct Interval {
    double low, high;
};
[[gnu::always_inline]] inline Interval logarithmAround(double x) {
    const double near = approximateLog10(x);
    return {near * (1 - approximationError), near * (1 + approximationError)};
}
// What is no number leaves it to the host: its other end is 0.
[[gnu::always_inline]] inline Interval angleAround(double y, double x) {
    const double near = approximateAtan2(y, x), high = near * (1 + approximationError);
    const std::uint64_t number = near == near ? ~std::uint64_t{0} : 0;
    return {near * (1 - approximationError), std::bit_cast<double>(std::bit_cast<std::uint64_t>(high) & number)};
}
[[gnu::always_inline]] inline Interval cosineAround(double x) {
    const double near = approximateCos(x);
    return {near - approximationError, near + approximationError};
}

// Stores what the host's value at each i below `n` is rounded to. False where interval(i), in which it lies, leaves that open:
// then the caller computes them all again, from the host's. round(x, i) is monotone; `to` is not what it is computed from.
template <class Element, class Locate, class Round>
ZCMDS_VECTOR_CLONES bool storeApproximations(Element* to, std::int32_t n, Locate interval, Round round) {
    using Bits = std::conditional_t<sizeof(Element) == 2, std::uint16_t, std::uint32_t>;
    Bits differing = 0;
    for (std::int32_t i = 0; i < n; ++i) {
        const Interval ends = interval(i);
        const Element low = round(ends.low, i), high = round(ends.high, i);
        to[i] = low;
        differing = static_cast<Bits>(differing | (std::bit_cast<Bits>(low) ^ std::bit_cast<Bits>(high)));
    }
    return differing == 0;
}

}  // namespace zcmds
