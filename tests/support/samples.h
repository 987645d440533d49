// Samples that reach the edges of their type, and comparison by bits, so that NaNs and zeros are told apart.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <type_traits>
#include <vector>

namespace libzepl {

template <class Element>
using BitsOf = std::conditional_t<sizeof(Element) == 2, std::uint16_t,
                                  std::conditional_t<sizeof(Element) == 4, std::uint32_t, std::uint64_t>>;

template <class Element>
std::vector<BitsOf<Element>> bitsOf(const std::vector<Element>& elements) {
    std::vector<BitsOf<Element>> bits(elements.size());
    if (!bits.empty()) std::memcpy(bits.data(), elements.data(), elements.size() * sizeof(Element));
    return bits;
}

// `count` elements of random bits, so over the full range of the type; floating types get NaNs and infinities too.
template <class Element>
std::vector<Element> randomBits(std::size_t count, std::uint64_t seed) {
    std::mt19937_64 random(seed);
    std::vector<BitsOf<Element>> bits(count);
    for (auto& word : bits) word = static_cast<BitsOf<Element>>(random());
    std::vector<Element> elements(count);
    std::memcpy(elements.data(), bits.data(), count * sizeof(Element));
    return elements;
}

// `count` finite elements: integers over the full range, floating values of many magnitudes between -1e6 and 1e6.
template <class Element>
std::vector<Element> randomSamples(std::size_t count, std::uint64_t seed) {
    if constexpr (std::is_integral_v<Element>) {
        return randomBits<Element>(count, seed);
    } else {
        std::mt19937_64 random(seed);
        std::vector<Element> elements(count);
        for (Element& x : elements) {
            // Drawn one after the other: the order of two draws in one expression is the compiler's.
            const double share = static_cast<double>(random() >> 11) * 0x1p-53;
            x = static_cast<Element>(std::ldexp(share * 2 - 1, static_cast<int>(random() % 20)));
        }
        return elements;
    }
}

// Edges first (all exponents of floating types with the mantissas where NaNs, infinities and denormals turn), then random
// bits; every int16.
template <class Element>
std::vector<Element> edgeSamples() {
    using Bits = BitsOf<Element>;
    constexpr int fraction = sizeof(Element) == 8 ? 52 : sizeof(Element) == 4 ? 23 : 15;
    constexpr Bits quiet = Bits{1} << (fraction - 1), full = static_cast<Bits>((Bits{1} << fraction) - 1);
    std::vector<Bits> bits;
    for (std::uint64_t top = 0; top < std::uint64_t{1} << (8 * sizeof(Bits) - fraction); ++top)
        for (const Bits low :
             {Bits{0}, Bits{1}, static_cast<Bits>(quiet - 1), quiet, static_cast<Bits>(quiet + 1), full})
            bits.push_back(static_cast<Bits>(top << fraction | low));
    if constexpr (sizeof(Element) == 2)
        for (std::uint32_t i = 0; i < 65536; ++i) bits.push_back(static_cast<Bits>(i));
    std::vector<Element> elements(bits.size());
    std::memcpy(elements.data(), bits.data(), bits.size() * sizeof(Bits));
    const std::vector<Element> more = randomBits<Element>(50000, 7);
    elements.insert(elements.end(), more.begin(), more.end());
    return elements;
}

}  // namespace libzepl
