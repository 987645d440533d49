// What is made of the real and imaginary parts of a spectrum: power, magnitude or polar form, narrowed to the outputs.
//
// The folded forms, for real input and half of the spectrum, count the negative frequencies in: all but the first element
// are doubled in power. With odd N the last element is treated like the first, undoubled and without its imaginary part;
// with even N the element at N/2 is not delivered. The plain forms are computed for the elements that are delivered.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "frame/element_type.h"
#include "frame/mathematics.h"
#include "frame/vector_clones.h"
#include "spectral/narrowing.h"
#include "spectral/spectrum_block.h"

namespace zcmds {

namespace {

constexpr double plain = 1.0, folded = 2.0;  // what the power of an element is multiplied by; 1 leaves the bits

// re becomes the power of the elements from `first` up to `end`.
ZCMDS_VECTOR_CLONES void powerOf(double* __restrict re, const double* __restrict im, std::int32_t first,
                                 std::int32_t end, double factor) {
    for (std::int32_t i = first; i < end; ++i) re[i] = (re[i] * re[i] + im[i] * im[i]) * factor;
}

ZCMDS_VECTOR_CLONES void magnitudeOf(double* __restrict re, const double* __restrict im, std::int32_t first,
                                     std::int32_t end, double factor) {
    for (std::int32_t i = first; i < end; ++i) re[i] = std::sqrt((re[i] * re[i] + im[i] * im[i]) * factor);
}

void plainPower(SpectrumBlock& block) { powerOf(block.re, block.im, 0, block.outCount, plain); }

void foldedPower(SpectrumBlock& block) {
    const std::int32_t middle = block.length / 2;
    block.re[0] = block.re[0] * block.re[0];
    powerOf(block.re, block.im, 1, middle, folded);
    if (block.length % 2 != 0) block.re[middle] = block.re[middle] * block.re[middle];
}

void plainMagnitude(SpectrumBlock& block) { magnitudeOf(block.re, block.im, 0, block.outCount, plain); }

void foldedMagnitude(SpectrumBlock& block) {
    const std::int32_t middle = block.length / 2;
    block.re[0] = std::fabs(block.re[0]);
    magnitudeOf(block.re, block.im, 1, middle, folded);
    if (block.length % 2 != 0) block.re[middle] = std::fabs(block.re[middle]);
}

// A real part that is almost zero gives a quarter turn, also where the imaginary part is zero as well.
ZCMDS_VECTOR_CLONES void guardPhases(const double* re, const double* im, double* phases, std::int32_t n) {
    constexpr double tiny = 1.0000000180025095e-35,
                     quarterTurn = 1.5707963267948966;  // tiny: 1e-35 in single precision
    for (std::int32_t i = 0; i < n; ++i) {
        const double quarter = im[i] < 0.0 ? -quarterTurn : quarterTurn;
        phases[i] = re[i] >= -tiny && re[i] <= tiny ? quarter : phases[i];
    }
}

void doNotGuard(const double*, const double*, double*, std::int32_t) {}

// re becomes the magnitudes and im the phases of `n` elements.
template <class Guard>
void polarOf(double* re, double* im, std::int32_t n, double factor, Guard guard) {
    inPieces(n, [=](std::int32_t start, std::int32_t count) {
        double phases[mathematicsPiece];
        mathematics.atan2Array(im + start, re + start, phases, count);
        guard(re + start, im + start, phases, count);
        magnitudeOf(re + start, im + start, 0, count, factor);
        std::copy_n(phases, count, im + start);
    });
}

void plainPolar(SpectrumBlock& block) { polarOf(block.re, block.im, block.outCount, plain, guardPhases); }

void foldedPolar(SpectrumBlock& block) {
    double* const re = block.re;
    double* const im = block.im;
    const std::int32_t middle = block.length / 2;
    im[0] = mathematics.atan2(0.0, re[0]);
    re[0] = std::sqrt(re[0] * re[0]);
    polarOf(re + 1, im + 1, middle - 1, folded, doNotGuard);
    if (block.length % 2 != 0) {
        im[middle] = mathematics.atan2(0.0, re[middle]);
        if (re[middle] < 0.0) re[middle] = -re[middle];
    }
}

// Narrows the first `n` doubles to elements at the front of the same buffer; piece by piece through a copy, so that the
// compiler need not know that no element falls on a double that is still to be read.
template <class Element, class Conversion>
ZCMDS_VECTOR_CLONES void narrowInPlace(double* buffer, std::int32_t n, Conversion conversion) {
    constexpr std::int32_t pieceSize = 64;
    Element piece[pieceSize];
    Element* elements = reinterpret_cast<Element*>(buffer);
    for (std::int32_t start = 0; start < n; start += pieceSize) {
        const std::int32_t count = std::min(n - start, pieceSize);
        for (std::int32_t i = 0; i < count; ++i) piece[i] = conversion(buffer[start + i]);
        std::memcpy(elements + start, piece, static_cast<std::size_t>(count) * sizeof(Element));
    }
}

// A full turn is the whole range of an integer type.
template <class Element>
Element scaledPhase(double phase) {
    if constexpr (std::is_integral_v<Element>) {
        constexpr double range = static_cast<double>(std::numeric_limits<std::make_unsigned_t<Element>>::max());
        return clampTo<Element>(phase * range / 6.283185307179586);
    } else {
        return static_cast<Element>(phase);
    }
}

using Part = double* SpectrumBlock::*;

template <class Element, Part part>
void narrowValues(SpectrumBlock& block) {
    narrowInPlace<Element>(block.*part, block.outCount, [](double x) { return clampTo<Element>(x); });
}

template <class Element>
void narrowPhase(SpectrumBlock& block) {
    narrowInPlace<Element>(block.im, block.outCount, [](double x) { return scaledPhase<Element>(x); });
}

template <Part part>
BlockOperation valueNarrowingTo(ParamMask elementType) {
    BlockOperation operation = doNothing;
    forElementType(elementType, [&]<class Element>() -> std::uint32_t {
        if constexpr (!std::is_same_v<Element, double>) operation = narrowValues<Element, part>;
        return 0;
    });
    return operation;
}

BlockOperation phaseNarrowingTo(ParamMask elementType) {
    BlockOperation operation = doNothing;
    forElementType(elementType, [&]<class Element>() -> std::uint32_t {
        if constexpr (!std::is_same_v<Element, double>) operation = narrowPhase<Element>;
        return 0;
    });
    return operation;
}

void clearPost(SpectrumBlock& block) { block.postOp = block.rNarrowOp = block.iNarrowOp = doNothing; }

bool is(const char* mode, const char* word) { return std::strcmp(mode, word) == 0; }

bool isFolded(const SpectrumBlock& block) { return block.half && block.iIn == PipeHandle{}; }

}  // namespace

bool selectPostOne(SpectrumBlock& block, const char* mode, ParamMask elementType) {
    clearPost(block);
    if (is(mode, "POWER"))
        block.postOp = isFolded(block) ? foldedPower : plainPower;
    else if (is(mode, "MAGNITUDE"))
        block.postOp = isFolded(block) ? foldedMagnitude : plainMagnitude;
    else if (!is(mode, "PARTS"))
        return false;
    block.rNarrowOp = valueNarrowingTo<&SpectrumBlock::re>(elementType);
    return true;
}

bool selectPostTwo(SpectrumBlock& block, const char* mode, ParamMask firstType, ParamMask secondType) {
    clearPost(block);
    if (is(mode, "POLAR")) {
        block.postOp = isFolded(block) ? foldedPolar : plainPolar;
        block.iNarrowOp = phaseNarrowingTo(secondType);
    } else if (is(mode, "PARTS")) {
        block.iNarrowOp = valueNarrowingTo<&SpectrumBlock::im>(firstType);
    } else {
        return false;
    }
    block.rNarrowOp = valueNarrowingTo<&SpectrumBlock::re>(firstType);
    return true;
}

}  // namespace zcmds
