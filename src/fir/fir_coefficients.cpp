#include <cstddef>
#include <type_traits>

#include "fir/fir_engine.h"
#include "host/memory.h"

namespace zcmds {

namespace {

template <class Integer>
constexpr double fullScale = sizeof(Integer) == 2 ? 32768.0 : 2147483648.0;

// Double by double is divided in double; a float or an int16 for a float table goes through float alone.
template <class Wanted, class Given>
Wanted scaled(Given c, double scaling) {
    using Step =
        std::conditional_t<std::is_same_v<Given, float> || std::is_same_v<Given, std::int16_t>, Wanted, double>;
    auto divisor = static_cast<Step>(scaling);
    if constexpr (std::is_integral_v<Given>) divisor *= static_cast<Step>(fullScale<Given>);
    return static_cast<Wanted>(static_cast<Step>(c) / divisor);
}

template <class Wanted, class Given>
const Wanted* scaledTable(const FirCoefficients& coefficients) {
    const auto length = static_cast<std::size_t>(coefficients.length);
    const auto* const given = static_cast<const Given*>(coefficients.table);
    auto* const table = static_cast<Wanted*>(zepl::ralloc(length * sizeof(Wanted)));
    for (std::size_t k = 0; k < length; ++k) table[k] = scaled<Wanted>(given[k], coefficients.scaling);
    return table;
}

template <class Wanted>
const Wanted* scaledTable(const FirCoefficients& coefficients) {
    switch (coefficients.type) {
        case vectorInt16:
            return scaledTable<Wanted, std::int16_t>(coefficients);
        case vectorInt32:
            return scaledTable<Wanted, std::int32_t>(coefficients);
        case vectorFloat:
            return scaledTable<Wanted, float>(coefficients);
        default:
            return scaledTable<Wanted, double>(coefficients);
    }
}

}  // namespace

void firConvertCoefficients(FirCoefficients& coefficients, ParamMask srcType) {
    const bool single = srcType == pipeInt16 || srcType == pipeFloat;
    const ParamMask wanted = single ? vectorFloat : vectorDouble;
    if (coefficients.scaling == 1.0 && coefficients.type == wanted) return;
    coefficients.table = single ? static_cast<const void*>(scaledTable<float>(coefficients))
                                : static_cast<const void*>(scaledTable<double>(coefficients));
    coefficients.type = wanted;
    coefficients.scaling = 1.0;
}

}  // namespace zcmds
