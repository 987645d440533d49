// Exact arithmetic: every conversion and division whose result at the edges of a type is part of the result. Each has its
// rule in its name, is free of undefined behaviour, and gives the same bits from every compiler.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "host/codes.h"
#include "host/modules.h"

namespace zcmds {

// The type in which sums, differences and negatives of elements are formed.
template <class Element>
using Wide = std::conditional_t<std::is_same_v<Element, std::int16_t>, std::int32_t,
                                std::conditional_t<std::is_same_v<Element, std::int32_t>, std::int64_t, Element>>;

template <class Element>
constexpr Wide<Element> widened(Element x) {
    return x;
}

// The nearest value that the integer type holds.
template <class Integer, class Wider>
constexpr Integer saturate(Wider x) {
    static_assert(std::is_integral_v<Integer> && sizeof(Wider) >= sizeof(Integer));
    constexpr Wider low = std::numeric_limits<Integer>::min(), high = std::numeric_limits<Integer>::max();
    return static_cast<Integer>(x < low ? low : x > high ? high : x);
}

// The low bits, as two's complement.
template <class Integer, class Wider>
constexpr Integer wrap(Wider x) {
    static_assert(std::is_integral_v<Integer> && std::is_integral_v<Wider>);
    return static_cast<Integer>(static_cast<std::make_unsigned_t<Integer>>(x));
}

// The absolute value; the most negative value counts as its neighbour, whose counterpart is the type's maximum.
template <class Integer>
constexpr Integer saturatingAbsolute(Integer x) {
    const auto bounded = std::max<Integer>(x, -std::numeric_limits<Integer>::max());
    return static_cast<Integer>(bounded < 0 ? -bounded : bounded);
}

// The difference, saturated to an integer's type. Bounding the first term beforehand needs no wider type, so that twice as
// many elements fit a vector.
template <class Element>
constexpr Element saturatingDifference(Element a, Element b) {
    if constexpr (std::is_integral_v<Element>) {
        using Limits = std::numeric_limits<Element>;
        const auto low = static_cast<Element>(Limits::min() + std::max<Element>(b, 0));
        const auto high = static_cast<Element>(Limits::max() + std::min<Element>(b, 0));
        const Element bounded = std::max(low, std::min(high, a));
        return static_cast<Element>(bounded - b);
    } else {
        return a - b;
    }
}

// Sum, difference and product modulo 2^32 or 2^64.
constexpr std::int32_t wrappingSum(std::int32_t a, std::int32_t b) {
    return wrap<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}
constexpr std::int32_t wrappingDifference(std::int32_t a, std::int32_t b) {
    return wrap<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}
constexpr std::int32_t wrappingProduct(std::int32_t a, std::int32_t b) {
    return wrap<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}
constexpr std::int64_t wrappingSum(std::int64_t a, std::int64_t b) {
    return wrap<std::int64_t>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}
constexpr std::int64_t wrappingDifference(std::int64_t a, std::int64_t b) {
    return wrap<std::int64_t>(static_cast<std::uint64_t>(a) - static_cast<std::uint64_t>(b));
}
constexpr std::int64_t wrappingProduct(std::int64_t a, std::int64_t b) {
    return wrap<std::int64_t>(static_cast<std::uint64_t>(a) * static_cast<std::uint64_t>(b));
}

// Toward zero; a NaN or what 32 bits don't hold gives the most negative value.
constexpr std::int32_t truncateToInt32(double x) {
    // The choice comes before the conversion: so loops of it vectorise.
    const bool fits = x > -2147483649.0 && x < 2147483648.0;
    return static_cast<std::int32_t>(fits ? x : -2147483648.0);
}

// To the nearest, ties to even; a NaN or what 32 bits don't hold gives the most negative value.
constexpr std::int32_t roundToInt32(double x) {
    // Adding and taking away 1.5 * 2^52 leaves the nearest integer: there the doubles are the integers.
    constexpr double shift = 6755399441055744.0;
    const bool near = x > -2147483649.0 && x < 2147483649.0;
    return truncateToInt32(near ? (x + shift) - shift : x);
}

// Toward zero into the element's type: an integer takes the low bits of truncateToInt32, float and double round.
template <class Element>
constexpr Element truncateTo(double x) {
    if constexpr (std::is_integral_v<Element>)
        return wrap<Element>(truncateToInt32(x));
    else
        return static_cast<Element>(x);
}

// To the nearest into the element's type, ties to even: what an integer does not hold, or a NaN, gives its most negative
// value; float and double round.
template <class Element>
constexpr Element roundTo(double x) {
    if constexpr (std::is_integral_v<Element>) {
        constexpr std::int32_t min = std::numeric_limits<Element>::min(), max = std::numeric_limits<Element>::max();
        const std::int32_t nearest = roundToInt32(x);
        return static_cast<Element>(nearest < min || nearest > max ? min : nearest);
    } else {
        return static_cast<Element>(x);
    }
}

// The quotient toward zero. A zero divisor and a quotient that the type does not hold are divide faults.
template <class Integer>
Integer divideOrFault(Integer dividend, Integer divisor) {
    static_assert(std::is_integral_v<Integer> && sizeof(Integer) >= 4);
    if (divisor == 0) zepl::RaiseException(zepl::Fault::integerDivide);
    if constexpr (std::is_signed_v<Integer>)
        if (divisor == -1 && dividend == std::numeric_limits<Integer>::min())
            zepl::RaiseException(zepl::Fault::integerOverflow);
    return dividend / divisor;
}

// The same quotient for a divisor that cannot fault, so neither 0 nor -1. It vectorises: in double it is so near to the exact
// quotient, which is whole or at least 2^-31 away from a whole number, that both are truncated to the same.
constexpr std::int32_t divideThroughDouble(std::int32_t dividend, std::int32_t divisor) {
    return static_cast<std::int32_t>(static_cast<double>(dividend) / divisor);
}

// That holds for longer dividends up to this magnitude.
constexpr bool dividesThroughDouble(std::int64_t dividend) {
    constexpr std::int64_t max = std::int64_t{1} << 52;
    return -max <= dividend && dividend <= max;
}
constexpr std::int64_t divideThroughDouble(std::int64_t dividend, std::int32_t divisor) {
    return static_cast<std::int64_t>(static_cast<double>(dividend) / divisor);
}

// The quotient toward zero by a positive divisor, by the shorter way.
constexpr std::int64_t dividePositive(std::int64_t dividend, std::int32_t divisor) {
    return dividesThroughDouble(dividend) ? divideThroughDouble(dividend, divisor) : dividend / divisor;
}

// The absolute value as computed through double: the sign is cleared, and a signalling NaN becomes quiet.
constexpr float quietingAbsolute(float x) {
    constexpr std::uint32_t infinity = 0x7f800000, quiet = 0x00400000;
    const std::uint32_t bits = std::bit_cast<std::uint32_t>(x) & 0x7fffffff;
    return std::bit_cast<float>(bits > infinity ? bits | quiet : bits);
}

}  // namespace zcmds
