// Plain definitions of windows, transforms and conversions to hold the spectral commands against.
#pragma once

#include <complex>
#include <numbers>

#include "host/mathematics.h"
#include "tests/support/call.h"
#include "tests/support/samples.h"

namespace libzepl {

using Doubles = std::vector<double>;

// A vector of so many.
inline std::string zeros(std::size_t count) { return "[0" + more(count - 1, "0") + "]:double"; }

struct Parts {
    Doubles re, im;
};

// What the call gives, as doubles, on `re` and `im`.
inline Parts partsOf(const std::string& call, const std::vector<Input>& inputs) {
    const Call made(call, inputs);
    EXPECT_EQ(made.state, "waiting") << call;
    return {made.taken<double>("re"), made.taken<double>("im")};
}

// The transform of each block of n elements as MIXRFFT makes it, without a window.
inline Parts transformOf(const Parts& parts, std::size_t n, const std::string& direction = "FORWARD") {
    return partsOf("MIXRFFT (" + std::to_string(n) + ", " + direction + ", x, y, FULL, PARTS, re:double, im:double)",
                   {{"x", parts.re}, {"y", parts.im}});
}

// Element k of the forward transform of one block, from its definition.
inline std::complex<double> directTransform(const Doubles& block, std::size_t k) {
    const auto n = static_cast<double>(block.size());
    std::complex<double> sum;
    for (std::size_t t = 0; t < block.size(); ++t)
        sum += std::polar(block[t] / n, -2 * std::numbers::pi * static_cast<double>(k * t % block.size()) / n);
    return sum;
}

// The weight of a window's element i of n.
inline double weightOf(const std::string& name, bool reverse, std::size_t i, std::size_t n, double beta = 1) {
    const auto index = static_cast<double>(i), length = static_cast<double>(n),
               mirrored = static_cast<double>(std::min(i, n - i));
    const double t = index * 6.283185307179586 / length, c = zepl::cos(t), x = index * 2.0 / length;
    const auto bessel = [](double argument) {
        const double q = (argument / 3.75) * (argument / 3.75);
        double sum = 0;
        for (const double factor : {0.00458125, 0.03607677, 0.2659732, 1.2067492, 3.0899424, 3.5156229, 1.000000017})
            sum = sum * q + factor;
        return sum;
    };
    if (name == "BARTLETT") return reverse ? (x < 0.5 ? 1.0 - x : x - 1.0) : x < 1.0 ? x : 2.0 - x;
    if (name == "VONHANN") return reverse ? 0.5 * c + 0.5 : 0.5 - 0.5 * c;
    if (name == "HAMMING") return reverse ? 0.46 * c + 0.54 : 0.54 - 0.46 * c;
    if (name == "BLACKMAN") return (reverse ? 0.5 * c + 0.42 : 0.42 - 0.5 * c) + 0.08 * zepl::cos(2 * t);
    if (name == "RECTANGULAR") return 1;
    const double u = reverse ? mirrored / length * 2.0 : index / length * 2.0 - 1.0;
    return bessel(beta * std::sqrt(1.0 - u * u)) / bessel(beta);
}

// A NaN passes the clamp, and then leaves the low bits of the most negative int32 in an integer.
template <class Element>
Element clampedTo(double x) {
    const double top = std::numeric_limits<Element>::max(), bottom = std::numeric_limits<Element>::lowest();
    if (std::is_integral_v<Element> && std::isnan(x))
        return sizeof(Element) == 2 ? Element{} : static_cast<Element>(bottom);
    return static_cast<Element>(x > top ? top : bottom > x ? bottom : x);
}

// The bits of doubles as the elements of an output; only integers are clamped.
template <class Element>
std::vector<BitsOf<Element>> outputBits(const Doubles& values) {
    std::vector<Element> elements;
    for (const double x : values)
        elements.push_back(std::is_integral_v<Element> ? clampedTo<Element>(x) : static_cast<Element>(x));
    return bitsOf(elements);
}

template <class Element>
Doubles widened(const std::vector<Element>& elements) {
    return {elements.begin(), elements.end()};
}

}  // namespace libzepl
