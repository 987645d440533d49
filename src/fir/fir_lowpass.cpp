#include "fir/fir_lowpass.h"

#include <array>
#include <cstddef>
#include <type_traits>

#include "fir/fir_lowpass_taps.h"

namespace zcmds {

namespace {

template <class Element, std::size_t halfSize>
constexpr std::array<Element, 2 * halfSize - 1> mirrored(const double (&half)[halfSize]) {
    std::array<Element, 2 * halfSize - 1> taps{};
    for (std::size_t k = 0; k < halfSize; ++k) taps[k] = taps[taps.size() - 1 - k] = static_cast<Element>(half[k]);
    return taps;
}

template <class Element, const auto& half>
constexpr auto taps = mirrored<Element>(half);

template <class Element, std::int32_t decimation, const auto& half>
constexpr FirCoefficients prototype() {
    constexpr auto length = static_cast<std::int32_t>(taps<Element, half>.size());
    return {.type = std::is_same_v<Element, float> ? vectorFloat : vectorDouble,
            .length = length,
            .decimation = decimation,
            .align = (length - 1) / 2,
            .scaling = 1.0,
            .table = taps<Element, half>.data()};
}

template <class Element>
constexpr FirCoefficients prototypes[lowpassMaxDecimation] = {
    prototype<Element, 1, lowpassHalf1>(),   prototype<Element, 2, lowpassHalf2>(),
    prototype<Element, 3, lowpassHalf3>(),   prototype<Element, 4, lowpassHalf4>(),
    prototype<Element, 5, lowpassHalf5>(),   prototype<Element, 6, lowpassHalf6>(),
    prototype<Element, 7, lowpassHalf7>(),   prototype<Element, 8, lowpassHalf8>(),
    prototype<Element, 9, lowpassHalf9>(),   prototype<Element, 10, lowpassHalf10>(),
    prototype<Element, 11, lowpassHalf11>(), prototype<Element, 12, lowpassHalf12>(),
};

}  // namespace

const FirCoefficients& firLowpassPrototype(std::int32_t decimation, ParamMask srcType) {
    const bool single = srcType == pipeInt16 || srcType == pipeFloat;
    return (single ? prototypes<float> : prototypes<double>)[decimation - 1];
}

}  // namespace zcmds
