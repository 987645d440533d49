#include "spectral/dft_window.h"

#include <algorithm>
#include <cstddef>

#include "frame/mathematics.h"
#include "host/memory.h"
#include "host/vectors.h"

namespace zcmds {

namespace {

// Fills in the entries of `n` indices, at most a piece, from `first` on.
using Weights = void (*)(std::uint32_t first, std::uint32_t length, double* weights, std::int32_t n);

template <class Weight>
void weigh(std::uint32_t first, double* weights, std::int32_t n, Weight weight) {
    for (std::int32_t i = 0; i < n; ++i) weights[i] = weight(first + static_cast<std::uint32_t>(i));
}

void rectangular(std::uint32_t, std::uint32_t, double* weights, std::int32_t n) { std::fill_n(weights, n, 1.0); }

void bartlett(std::uint32_t first, std::uint32_t length, double* weights, std::int32_t n) {
    weigh(first, weights, n, [=](std::uint32_t index) {
        const double x = static_cast<double>(index) / length;
        return x <= 0.5 ? 2.0 * x : (1.0 - x) * 2.0;
    });
}

// The cosines of index * turn / length.
void cosines(std::uint32_t first, std::uint32_t length, double* values, std::int32_t n, double turn) {
    weigh(first, values, n, [=](std::uint32_t index) { return (index * turn) / length; });
    mathematics.cosArray(values, values, n);
}

constexpr double fullTurn = 6.283185307179586;

void vonHann(std::uint32_t first, std::uint32_t length, double* weights, std::int32_t n) {
    cosines(first, length, weights, n, fullTurn);
    for (std::int32_t i = 0; i < n; ++i) weights[i] = (1.0 - weights[i]) * 0.5;
}

void hamming(std::uint32_t first, std::uint32_t length, double* weights, std::int32_t n) {
    cosines(first, length, weights, n, fullTurn);
    for (std::int32_t i = 0; i < n; ++i) weights[i] = 0.54 - weights[i] * 0.46;
}

void blackman(std::uint32_t first, std::uint32_t length, double* weights, std::int32_t n) {
    double doubled[mathematicsPiece];
    cosines(first, length, weights, n, fullTurn);
    cosines(first, length, doubled, n, 12.56637061435917);
    for (std::int32_t i = 0; i < n; ++i) weights[i] = (0.42 - weights[i] * 0.5) + doubled[i] * 0.08;
}

constexpr Weights windows[] = {rectangular, bartlett, vonHann, hamming, blackman};

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
    for (std::uint32_t first = 0; first < length;) {
        double weights[mathematicsPiece];
        const std::uint32_t n = std::min<std::uint32_t>(length - first, mathematicsPiece);
        windows[code](first, length, weights, static_cast<std::int32_t>(n));
        std::transform(weights, weights + n, table + first, [](double weight) { return static_cast<float>(weight); });
        first += n;
    }
    return {.code = code, .length = length, .table = table};
}

DftWindow convertDftWindow(VectorHandle vector, std::uint32_t length) {
    return {.code = dftVectorWindow, .length = length, .table = tableOf(vector, length)};
}

}  // namespace zcmds
