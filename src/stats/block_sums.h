// The sums that averages, roots of means and variances are made of. Integer sums are of 64 bits and wrap without notice, so
// their order is free; floating sums are of double precision and added one by one, in the order of the stream.
#pragma once

#include <cmath>
#include <cstdint>
#include <type_traits>

#include "frame/exact.h"
#include "frame/integer_sqrt.h"
#include "stats/masked_run.h"

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
    void add(const Element* from, std::int32_t n, Margins margins) {
        if constexpr (std::is_same_v<Element, std::int16_t>)
            takeMasked(from, n, margins, [this](const MaskedRun<Element>& run) { addRun(run); });
        else if constexpr (std::is_same_v<Element, std::int32_t>)
            addInt32(from, n);
        else
            addReals(from, n);
    }
    void clear() { sum = squares = 0; }

    // The population variance, by one pass. Integers: every product modulo 2^64, every division, which `divide` does, toward
    // zero. Rounding can leave a floating variance below 0.
    template <class Divide>
    SumOf<Element> variance(std::int32_t bsize, Divide divide) const {
        if constexpr (std::is_integral_v<Element>)
            return divide(wrappingDifference(squares, divide(wrappingProduct(sum, sum), bsize)), bsize);
        else
            return (squares - sum * sum / bsize) / bsize;
    }
    template <class Divide>
    SumOf<Element> meanSquare(std::int32_t bsize, Divide divide) const {
        if constexpr (std::is_integral_v<Element>)
            return divide(squares, bsize);
        else
            return squares / bsize;
    }
    // Whether all these divisions can go through double.
    bool dividesThroughDouble() const {
        constexpr std::int64_t max = std::int64_t{1} << 26;
        if constexpr (std::is_integral_v<Element>)
            return (-max <= sum) & (sum <= max) & (0 <= squares) & (squares <= max * max);
        else
            return true;
    }

 private:
    // In 32 bits, where vectors hold most: the sum of the squares modulo 2^32, and that of the squares of the upper 11
    // bits. The latter differs from the former by less than 2^31, and so determines all of it.
    void addRun(const MaskedRun<std::int16_t>& run) {
        std::int32_t negative = 0, coarse = 0;
        std::uint32_t modulo = 0;
        for (std::int32_t i = 0; i < run.n; ++i) {
            const std::int16_t x = run[i], upper = static_cast<std::int16_t>(x >> 5);
            negative += std::int32_t{x} * run.mask[i];  // products of 16 bits are summed in pairs
            coarse += std::int32_t{upper} * upper;
            modulo += static_cast<std::uint32_t>(std::int32_t{x} * x);
        }
        const std::int64_t scaled = std::int64_t{coarse} << 10;
        sum -= negative;
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
