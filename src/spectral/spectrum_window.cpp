// Windows, applied while a block is widened. The weights of a named window are computed once, each from its index alone.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#include "frame/element_type.h"
#include "frame/mathematics.h"
#include "frame/vector_clones.h"
#include "host/memory.h"
#include "host/parameters.h"
#include "host/vectors.h"
#include "spectral/spectrum_block.h"

namespace zcmds {

namespace {

constexpr double fullTurn = 6.283185307179586;

// Fills in the weights of `n` indices, at most a piece, from `first` on, each from its index alone.
template <class Weight>
void weigh(std::int32_t first, double* weights, std::int32_t n, Weight weight) {
    for (std::int32_t i = 0; i < n; ++i) weights[i] = weight(first + i);
}

void bartlettMiddle(const SpectrumBlock& block, std::int32_t first, double* weights, std::int32_t n) {
    weigh(first, weights, n, [&](std::int32_t index) {
        const double x = index * 2.0 / block.length;
        return 1.0 > x ? x : 2.0 - x;
    });
}

// No triangle, and kept so: it falls to just over 0.5, jumps to -0.5 and rises through 0 to just under 1.
void bartlettEnds(const SpectrumBlock& block, std::int32_t first, double* weights, std::int32_t n) {
    weigh(first, weights, n, [&](std::int32_t index) {
        const double x = index * 2.0 / block.length;
        return 0.5 > x ? 1.0 - x : x - 1.0;
    });
}

// The cosines of `times` the indices' angles.
void cosines(const SpectrumBlock& block, std::int32_t first, double* values, std::int32_t n, double times) {
    weigh(first, values, n, [&](std::int32_t index) { return times * ((index * fullTurn) / block.length); });
    mathematics.cosArray(values, values, n);
}

// A window of one cosine: `weight` of it.
template <class Weight>
void ofCosine(const SpectrumBlock& block, std::int32_t first, double* weights, std::int32_t n, Weight weight) {
    cosines(block, first, weights, n, 1.0);
    for (std::int32_t i = 0; i < n; ++i) weights[i] = weight(weights[i]);
}

void vonHannMiddle(const SpectrumBlock& block, std::int32_t first, double* weights, std::int32_t n) {
    ofCosine(block, first, weights, n, [](double cosine) { return 0.5 - 0.5 * cosine; });
}

void vonHannEnds(const SpectrumBlock& block, std::int32_t first, double* weights, std::int32_t n) {
    ofCosine(block, first, weights, n, [](double cosine) { return 0.5 * cosine + 0.5; });
}

void hammingMiddle(const SpectrumBlock& block, std::int32_t first, double* weights, std::int32_t n) {
    ofCosine(block, first, weights, n, [](double cosine) { return 0.54 - 0.46 * cosine; });
}

void hammingEnds(const SpectrumBlock& block, std::int32_t first, double* weights, std::int32_t n) {
    ofCosine(block, first, weights, n, [](double cosine) { return 0.46 * cosine + 0.54; });
}

template <class Weight>
void ofTwoCosines(const SpectrumBlock& block, std::int32_t first, double* weights, std::int32_t n, Weight weight) {
    double doubled[mathematicsPiece];
    cosines(block, first, weights, n, 1.0);
    cosines(block, first, doubled, n, 2.0);
    for (std::int32_t i = 0; i < n; ++i) weights[i] = weight(weights[i], doubled[i]);
}

void blackmanMiddle(const SpectrumBlock& block, std::int32_t first, double* weights, std::int32_t n) {
    ofTwoCosines(block, first, weights, n,
                 [](double cosine, double doubled) { return (0.42 - 0.5 * cosine) + 0.08 * doubled; });
}

void blackmanEnds(const SpectrumBlock& block, std::int32_t first, double* weights, std::int32_t n) {
    ofTwoCosines(block, first, weights, n,
                 [](double cosine, double doubled) { return (0.5 * cosine + 0.42) + 0.08 * doubled; });
}

// The weight at -1 <= u <= 1, whose middle is the window's peak.
double kaiserAt(double u, const SpectrumBlock& block) {
    return kaiserBessel(block.kaiserBeta * std::sqrt(1.0 - u * u)) / block.kaiserNorm;
}

void kaiserMiddle(const SpectrumBlock& block, std::int32_t first, double* weights, std::int32_t n) {
    weigh(first, weights, n, [&](std::int32_t index) {
        const double part = static_cast<double>(index) / block.length;
        return kaiserAt(part * 2.0 - 1.0, block);
    });
}

void kaiserEnds(const SpectrumBlock& block, std::int32_t first, double* weights, std::int32_t n) {
    weigh(first, weights, n, [&](std::int32_t index) {
        const std::int32_t k = index <= block.length / 2 ? index : block.length - index;
        const double part = static_cast<double>(k) / block.length;
        return kaiserAt(part * 2.0, block);
    });
}

struct NamedWindow {
    const char* name;
    WindowWeights* weights[2];  // by variant
};

constexpr NamedWindow namedWindows[] = {
    {"BARTLETT", {bartlettMiddle, bartlettEnds}}, {"VONHANN", {vonHannMiddle, vonHannEnds}},
    {"HAMMING", {hammingMiddle, hammingEnds}},    {"BLACKMAN", {blackmanMiddle, blackmanEnds}},
    {"KAISER", {kaiserMiddle, kaiserEnds}},       {"RECTANGULAR", {nullptr, nullptr}},
};

ZCMDS_VECTOR_CLONES void multiply(double* __restrict re, double* __restrict im, const double* __restrict weights,
                                  std::int32_t n) {
    for (std::int32_t i = 0; i < n; ++i) {
        re[i] *= weights[i];
        im[i] *= weights[i];
    }
}

void applyWeights(SpectrumBlock& block) { multiply(block.re, block.im, block.weights, block.length); }

// A fraction of the integer type's full scale; floating entries are the weights themselves.
template <class Entry>
double weightIn(Entry entry) {
    if constexpr (std::is_integral_v<Entry>)
        return entry / static_cast<double>(std::numeric_limits<Entry>::max());
    else
        return entry;
}

template <class Entry>
ZCMDS_VECTOR_CLONES void multiplyByEntries(double* __restrict re, double* __restrict im,
                                           const Entry* __restrict entries, std::int32_t n) {
    for (std::int32_t i = 0; i < n; ++i) {
        const double weight = weightIn(entries[i]);
        re[i] *= weight;
        im[i] *= weight;
    }
}

template <class Entry>
void applyVector(SpectrumBlock& block) {
    multiplyByEntries(block.re, block.im, static_cast<const Entry*>(block.windowVector), block.length);
}

BlockOperation vectorWindowFor(ParamMask vectorType) {
    switch (vectorType) {
        case vectorInt16:
            return applyVector<std::int16_t>;
        case vectorInt32:
            return applyVector<std::int32_t>;
        case vectorFloat:
            return applyVector<float>;
        case vectorDouble:
            return applyVector<double>;
        default:
            return nullptr;
    }
}

}  // namespace

double kaiserBessel(double x) {
    const double q = (x / 3.75) * (x / 3.75);
    return (((((0.00458125 * q + 0.03607677) * q + 0.2659732) * q + 1.2067492) * q + 3.0899424) * q + 3.5156229) * q +
           1.000000017;
}

bool selectWindowByName(SpectrumBlock& block, std::int32_t variant, const char* name) {
    block.windowOp = doNothing;
    block.windowWeights = nullptr;
    for (const NamedWindow& window : namedWindows) {
        if (std::strcmp(window.name, name) != 0) continue;
        block.windowWeights = window.weights[variant];
        if (block.windowWeights != nullptr) block.windowOp = applyWeights;
        if (block.windowWeights == kaiserMiddle || block.windowWeights == kaiserEnds)
            block.kaiserBeta = block.kaiserNorm = 0.0;
        return true;
    }
    return false;
}

bool selectWindowByVector(SpectrumBlock& block, VectorHandle vector) {
    const BlockOperation window = vectorWindowFor(zepl::vector_type(vector));
    if (window == nullptr) return false;
    block.windowOp = window;
    block.windowWeights = nullptr;
    return true;
}

void takeWindowVector(SpectrumBlock& block, VectorHandle vector, std::int32_t index) {
    block.windowVector = zepl::vector_start(vector);
    if (zepl::vector_length(vector) != block.length) zepl::param_error_msg(ParamError::vectorLengthMismatch, index);
    selectWindowByVector(block, vector);
}

void keepWindowWeights(SpectrumBlock& block) {
    if (block.windowWeights == nullptr) return;
    block.weights = static_cast<double*>(zepl::ralloc(static_cast<std::size_t>(block.length) * sizeof(double)));
    inPieces(block.length, [&](std::int32_t start, std::int32_t count) {
        block.windowWeights(block, start, block.weights + start, count);
    });
}

}  // namespace zcmds
