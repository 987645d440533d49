// The sums that averages, roots of means and variances are made of. Integer sums are of 64 bits and wrap without notice, so
// their order is free; floating sums are of double precision and added one by one, in the order of the stream.
#pragma once

#include <cmath>
#include <cstdint>
#include <type_traits>

#include "frame/exact.h"
#include "frame/integer_sqrt.h"

namespace zcmds {

// The type of sums and means of elements.
template <class Element>
using SumOf = std::conditional_t<std::is_integral_v<Element>, std::int64_t, double>;

// The root of a mean or a variance as a sample: truncated in the integer types, of which the low bits are stored.
template <class Sample>
Sample storedRoot(SumOf<Sample> x) {
    if constexpr (std::is_same_v<Sample, std::int16_t>)
        return wrap<Sample>(integerSqrt32(wrap<std::int32_t>(x)));
    else if constexpr (std::is_same_v<Sample, std::int32_t>)
        return wrap<Sample>(integerSqrt64(x));
    else
        return static_cast<Sample>(std::sqrt(x));
}

// A sum of elements and a sum of their squares.
template <class Element>
struct Moments {
    SumOf<Element> sum = 0, squares = 0;

    // Adds the next `n` elements, at most 1024.
    void add(const Element* from, std::int32_t n) {
        if constexpr (std::is_same_v<Element, std::int16_t>)
            addInt16(from, n);
        else if constexpr (std::is_same_v<Element, std::int32_t>)
            addInt32(from, n);
        else
            addReals(from, n);
    }
    void clear() { sum = squares = 0; }

    // The population variance, by one pass. Integers: every product modulo 2^64, every division toward zero. Rounding can
    // leave a floating variance below 0.
    SumOf<Element> variance(std::int32_t bsize) const {
        if constexpr (std::is_integral_v<Element>)
            return dividePositive(wrappingDifference(squares, dividePositive(wrappingProduct(sum, sum), bsize)), bsize);
        else
            return (squares - sum * sum / bsize) / bsize;
    }
    SumOf<Element> meanSquare(std::int32_t bsize) const {
        if constexpr (std::is_integral_v<Element>)
            return dividePositive(squares, bsize);
        else
            return squares / bsize;
    }

 private:
    // In 32 bits, where vectors hold most: the sum of the squares modulo 2^32, and that of the squares of the upper 11
    // bits. The latter differs from the former by less than 2^31, and so determines all of it.
    void addInt16(const Element* from, std::int32_t n) {
        std::int32_t total = 0, coarse = 0;
        std::uint32_t modulo = 0;
        for (std::int32_t i = 0; i < n; ++i) {
            const auto upper = static_cast<std::int16_t>(from[i] >> 5);
            total += from[i];
            coarse += std::int32_t{upper} * upper;
            modulo += static_cast<std::uint32_t>(std::int32_t{from[i]} * from[i]);
        }
        const std::int64_t scaled = std::int64_t{coarse} << 10;
        sum += total;
        squares = wrappingSum(squares, scaled + wrap<std::int32_t>(modulo - wrap<std::uint32_t>(scaled)));
    }

    void addInt32(const Element* from, std::int32_t n) {
        std::int64_t total = sum;
        auto totalSquares = static_cast<std::uint64_t>(squares);
        for (std::int32_t i = 0; i < n; ++i) {
            total += from[i];
            totalSquares += static_cast<std::uint64_t>(std::int64_t{from[i]} * from[i]);
        }
        sum = total;
        squares = static_cast<std::int64_t>(totalSquares);
    }

    void addReals(const Element* from, std::int32_t n) {
        double total = sum, totalSquares = squares;
        for (std::int32_t i = 0; i < n; ++i) {
            const double x = from[i];
            total += x;
            totalSquares += x * x;
        }
        sum = total;
        squares = totalSquares;
    }
};

}  // namespace zcmds
