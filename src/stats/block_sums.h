// The sums that averages, roots of means and variances are made of. Integer sums are of 64 bits and wrap without notice, so
// their order is free; floating sums are of double precision and added one by one, in the order of the stream.
#pragma once

#include <cstdint>
#include <type_traits>

#include "frame/exact.h"

namespace zcmds {

// The type of sums and means of elements.
template <class Element>
using SumOf = std::conditional_t<std::is_integral_v<Element>, std::int64_t, double>;

// An element and its square, as they are added. A square of 16 bits fits in 32.
template <class Element>
constexpr SumOf<Element> squareOf(Element x) {
    if constexpr (std::is_same_v<Element, std::int16_t>)
        return std::int32_t{x} * x;
    else
        return SumOf<Element>{x} * x;
}

// sum + value: modulo 2^64, or rounded to double.
constexpr std::int64_t added(std::int64_t sum, std::int64_t value) { return wrappingSum(sum, value); }
constexpr double added(double sum, double value) { return sum + value; }

// The sum of a block's squares so far.
template <class Element>
struct SquareSum {
    SumOf<Element> squares = 0;

    void add(const Element* from, std::int32_t n) {
        SumOf<Element> total = squares;
        for (std::int32_t i = 0; i < n; ++i) total = added(total, squareOf(from[i]));
        squares = total;
    }
    void clear() { squares = 0; }
};

// The sums of a block's elements and of their squares so far.
template <class Element>
struct Moments {
    SumOf<Element> sum = 0, squares = 0;

    void add(const Element* from, std::int32_t n) {
        SumOf<Element> total = sum, totalSquares = squares;
        for (std::int32_t i = 0; i < n; ++i) {
            total = added(total, SumOf<Element>{from[i]});
            totalSquares = added(totalSquares, squareOf(from[i]));
        }
        sum = total;
        squares = totalSquares;
    }
    void clear() { sum = squares = 0; }

    // The population variance, by one pass. Integers: every product modulo 2^64, every division toward zero. Rounding can
    // leave a floating variance below 0.
    SumOf<Element> variance(std::int32_t bsize) const {
        if constexpr (std::is_integral_v<Element>)
            return wrappingDifference(squares, wrappingProduct(sum, sum) / bsize) / bsize;
        else
            return (squares - sum * sum / bsize) / bsize;
    }
};

}  // namespace zcmds
