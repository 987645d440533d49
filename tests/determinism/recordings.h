// What the procedures of these tests read: recordings and triggers that exist in memory alone, named KIND-COUNT.
//
//     bits      random bits: over the full range of the type, with infinities and the NaN that arithmetic makes (of two that
//               differ, which one a sum passes on is left to the compiler, for each of the loops that it makes)
//     samples   the same without NaNs and infinities, of many magnitudes
//     wave      a slow wave of whole numbers between -1000 and 1000, with noise
//     digits    0 to 3
//     part      random numbers from -0.1 to 1.1 of one, or of 32767 in an integer pipe
//     words     of a trigger: steps of up to 40, each an assertion or a status
//     marks     of a trigger: assertions 1 to 60 samples apart, with a status before some and behind the last
#pragma once

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <string>

#include "runtime/files.h"
#include "tests/support/samples.h"

namespace libzepl {

struct RecordingName {
    std::string kind;
    std::size_t count = 0;
};

inline RecordingName recordingName(const std::string& file) {
    const std::size_t dash = file.rfind('-');
    return {file.substr(0, dash), std::stoul(file.substr(dash + 1))};
}

// Channels of different names get different samples.
inline std::uint64_t seedOf(const std::string& channel) {
    std::uint64_t seed = 1;
    for (const char letter : channel) seed = seed * 131 + static_cast<unsigned char>(letter);
    return seed;
}

template <class Element>
std::vector<Element> bitsWithOneNaN(std::size_t count, std::uint64_t seed) {
    std::vector<Element> elements = randomBits<Element>(count, seed);
    if constexpr (std::is_floating_point_v<Element>)
        for (Element& x : elements)
            if (x != x) x = -std::numeric_limits<Element>::quiet_NaN();
    return elements;
}

template <class Element>
std::vector<Element> recordingOf(const std::string& file, const std::string& channel) {
    const RecordingName name = recordingName(file);
    const std::string& kind = name.kind;
    const std::size_t count = name.count;
    if (kind == "bits") return bitsWithOneNaN<Element>(count, seedOf(channel));
    if (kind == "samples") return randomSamples<Element>(count, seedOf(channel));
    std::mt19937_64 random(seedOf(channel));
    const auto next = [&](double n) -> double {
        const double share = static_cast<double>(random() >> 11) * 0x1p-53;
        if (kind == "wave") return std::round(800 * std::sin(n / 17) + 400 * (share - 0.5));
        if (kind == "digits") return std::floor(4 * share);
        if (kind == "part") return (1.2 * share - 0.1) * (std::is_integral_v<Element> ? 27000 : 1);
        if (kind == "words") return 1 + std::floor(40 * share) - (random() % 2 == 0 ? 0x80000000 : 0);
        throw std::invalid_argument("no recording is called " + file);
    };
    std::vector<Element> elements;
    for (std::size_t n = 0; n < count; ++n) elements.push_back(static_cast<Element>(next(static_cast<double>(n))));
    return elements;
}

inline std::vector<TriggerRow> marksOf(const std::string& file, const std::string& trigger) {
    std::mt19937_64 random(seedOf(trigger));
    std::vector<TriggerRow> rows;
    std::uint32_t position = static_cast<std::uint32_t>(random() % 20);
    for (std::size_t left = recordingName(file).count; left > 0; --left) {
        rows.push_back({.asserts = true, .position = position});
        const auto gap = static_cast<std::uint32_t>(1 + random() % 60);
        if (random() % 4 == 0) rows.push_back({.asserts = false, .position = position + gap / 2});
        position += gap;
    }
    rows.push_back({.asserts = false, .position = position + 100});
    return rows;
}

}  // namespace libzepl
