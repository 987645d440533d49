#include "spectral/dft_window.h"

#include <cstddef>

#include "frame/mathematics.h"
#include "host/memory.h"
#include "host/vectors.h"

namespace zcmds {

namespace {

using Weight = double (*)(std::uint32_t index, std::uint32_t length);

double angleOf(std::uint32_t index, std::uint32_t length) { return (index * 6.283185307179586) / length; }

double rectangular(std::uint32_t, std::uint32_t) { return 1.0; }

double bartlett(std::uint32_t index, std::uint32_t length) {
    const double x = static_cast<double>(index) / length;
    return x <= 0.5 ? 2.0 * x : (1.0 - x) * 2.0;
}

double vonHann(std::uint32_t index, std::uint32_t length) {
    return (1.0 - mathematics.cos(angleOf(index, length))) * 0.5;
}

double hamming(std::uint32_t index, std::uint32_t length) {
    return 0.54 - mathematics.cos(angleOf(index, length)) * 0.46;
}

double blackman(std::uint32_t index, std::uint32_t length) {
    const double doubled = (index * 12.56637061435917) / length;
    return (0.42 - mathematics.cos(angleOf(index, length)) * 0.5) + mathematics.cos(doubled) * 0.08;
}

constexpr Weight weights[] = {rectangular, bartlett, vonHann, hamming, blackman};

float* allocateTable(std::uint32_t length) {
    return static_cast<float*>(zepl::ralloc(std::size_t{length} * sizeof(float)));
}

template <class Entry>
const float* converted(const void* entries, std::uint32_t length) {
    const Entry* from = static_cast<const Entry*>(entries);
    float* table = allocateTable(length);
    for (std::uint32_t i = 0; i < length; ++i) table[i] = static_cast<float>(from[i]);
    return table;
}

const float* tableOf(VectorHandle vector, std::uint32_t length) {
    const void* entries = zepl::vector_start(vector);
    switch (zepl::vector_type(vector)) {
        case vectorInt16:
            return converted<std::int16_t>(entries, length);
        case vectorInt32:
            return converted<std::int32_t>(entries, length);
        case vectorDouble:
            return converted<double>(entries, length);
        default:
            return static_cast<const float*>(entries);
    }
}

}  // namespace

DftWindow makeDftWindow(std::int32_t code, std::uint32_t length) {
    float* table = allocateTable(length);
    for (std::uint32_t i = 0; i < length; ++i) table[i] = static_cast<float>(weights[code](i, length));
    return {.code = code, .length = length, .table = table};
}

DftWindow convertDftWindow(VectorHandle vector, std::uint32_t length) {
    return {.code = dftVectorWindow, .length = length, .table = tableOf(vector, length)};
}

}  // namespace zcmds
