// From the samples of a recording to the elements of a pipe.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include "runtime/files.h"

namespace libzepl {

// What one sample of a recording can hold.
struct SampleFormat {
    enum class Kind { signedInteger, unsignedInteger, real };
    Kind kind = Kind::signedInteger;
    int bits = 16;
};

// The format of the elements of a pipe.
SampleFormat formatOf(ElementType type);

// "24-bit integer", "unsigned 8-bit integer", "float", "double".
std::string describe(SampleFormat format);

// The binary digits of an integer format's full scale: 15 for 16-bit samples.
inline int magnitudeBits(SampleFormat format) {
    return format.kind == SampleFormat::Kind::signedInteger ? format.bits - 1 : format.bits;
}

// Whether `type` holds every value of the format exactly.
bool fits(SampleFormat format, ElementType type);

enum class Conversion { none, rounded, truncated, scaled };

// The conversion that the request names; a Problem for a word that is none.
Conversion conversionOf(const ReadRequest& request);

// The remedy for samples that `type` does not hold: the types that do, and the conversions.
std::string fitRemedy(SampleFormat format);

// Samples as they are stored: in the type of pipes that is the same, integers of other widths widened.
using SampleBlock = std::variant<std::vector<std::int64_t>, std::vector<std::int32_t>, std::vector<std::int16_t>,
                                 std::vector<float>, std::vector<double>>;

// The block's samples of that type, `count` of them, to be written.
template <class Sample>
std::vector<Sample>& samplesIn(SampleBlock& block, std::size_t count) {
    if (!std::holds_alternative<std::vector<Sample>>(block)) block.emplace<std::vector<Sample>>();
    auto& samples = std::get<std::vector<Sample>>(block);
    samples.resize(count);
    return samples;
}

template <class To>
To saturated(std::int64_t x) {
    constexpr std::int64_t low = std::numeric_limits<To>::min(), high = std::numeric_limits<To>::max();
    return static_cast<To>(x < low ? low : x > high ? high : x);
}

// `x` is no NaN.
template <class To>
To saturatedReal(double x) {
    constexpr double low = std::numeric_limits<To>::min(), high = std::numeric_limits<To>::max();
    return x <= low ? std::numeric_limits<To>::min() : x >= high ? std::numeric_limits<To>::max() : static_cast<To>(x);
}

// x * 2^`up`, to the nearest with ties to even, saturated.
template <class To>
To shiftedFullScale(std::int64_t x, int up) {
    if (up >= 0) return saturated<To>(x * (std::int64_t{1} << up));
    const std::int64_t below = x >> -up, half = std::int64_t{1} << (-up - 1);
    const std::int64_t rest = x - below * (half * 2);
    return saturated<To>(below + (rest > half || (rest == half && below % 2 != 0) ? 1 : 0));
}

// The number of type To nearest to `x` that is not further from zero.
template <class To, class From>
To towardZero(From x) {
    const To nearest = static_cast<To>(x);
    // long double holds both types' numbers exactly.
    const bool further = std::fabs(static_cast<long double>(nearest)) > std::fabs(static_cast<long double>(x));
    return further ? std::nextafter(nearest, To{0}) : nearest;
}

// The nearest To; a finite `x` beyond its range gives the largest number of the same sign.
template <class To, class From>
To nearestReal(From x) {
    constexpr From largest = static_cast<From>(std::numeric_limits<To>::max());
    if (!std::isfinite(x)) return static_cast<To>(x);
    return static_cast<To>(x > largest ? largest : x < -largest ? -largest : x);
}

// Calls `body` with the function that converts one integer sample of `format`.
template <class To, class Body>
void withConversion(Conversion conversion, SampleFormat format, std::int64_t, Body body) {
    const int magnitude = magnitudeBits(format);
    if constexpr (std::is_integral_v<To>) {
        const int up = std::numeric_limits<To>::digits - magnitude;
        if (conversion == Conversion::scaled) return body([up](std::int64_t x) { return shiftedFullScale<To>(x, up); });
        body([](std::int64_t x) { return saturated<To>(x); });
    } else {
        const To unit = std::ldexp(To{1}, -magnitude);
        if (conversion == Conversion::scaled) return body([unit](std::int64_t x) { return static_cast<To>(x) * unit; });
        if (conversion == Conversion::truncated) return body([](std::int64_t x) { return towardZero<To>(x); });
        body([](std::int64_t x) { return static_cast<To>(x); });
    }
}

// Calls `body` with the function that converts one real sample, which is no NaN where To is an integer type.
template <class To, class From, class Body>
void withConversion(Conversion conversion, SampleFormat, From, Body body) {
    if constexpr (std::is_integral_v<To>) {
        const double fullScale = std::ldexp(1.0, std::numeric_limits<To>::digits);
        if (conversion == Conversion::scaled)
            return body([fullScale](From x) { return saturatedReal<To>(std::nearbyint(x * fullScale)); });
        if (conversion == Conversion::truncated) return body([](From x) { return saturatedReal<To>(std::trunc(x)); });
        body([](From x) { return saturatedReal<To>(std::nearbyint(x)); });
    } else if constexpr (sizeof(From) <= sizeof(To)) {
        body([](From x) { return static_cast<To>(x); });
    } else {
        if (conversion == Conversion::truncated) return body([](From x) { return towardZero<To>(x); });
        body([](From x) { return nearestReal<To>(x); });
    }
}

}  // namespace libzepl
