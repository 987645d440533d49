// What the two transfer-function commands share: the record, the optional parameters and the form of the results.
#pragma once

#include <bit>
#include <cstdint>
#include <limits>
#include <numbers>
#include <type_traits>

#include "frame/approximation.h"
#include "frame/checks.h"
#include "frame/exact.h"
#include "frame/mathematics.h"
#include "frame/vector_clones.h"

namespace zcmds {

constexpr std::int32_t transferCapacity = 512;  // elements of every pipe's block

struct TransferState {
    StreamReader srcr1, srci1, srcr2, srci2;  // TFUNCTION2 leaves srci1 idle
    StreamWriter mag, phase;
    double lim1 = 0;   // minimum amplitude of the input side; positions below it are suppressed
    double lim2 = 0;   // TFUNCTION1: minimum amplitude of the output side; TFUNCTION2: minimum ratio of the two
    double scale = 0;  // factor of the magnitude where positive; else there is none
};

// What becomes decibels and angles at some positions.
struct TransferPiece {
    double ratio[mathematicsPiece];                   // of the magnitudes
    double x[mathematicsPiece], y[mathematicsPiece];  // a point at the angle
    std::uint64_t kept[mathematicsPiece];             // all bits, or none where the position is suppressed
};

// Checks and reads the parameters from position `first` on: `scale` alone, `lim1` and `lim2`, or all three.
void readTransferOptions(ParamList list, const Slot* params, std::int32_t first, std::int32_t count,
                         TransferState& state);

// The result, or 0 where the position is suppressed. Bits are masked, since a choice keeps compilers from vectors of what
// leads to the result.
inline double keptOf(double result, std::uint64_t kept) {
    return std::bit_cast<double>(std::bit_cast<std::uint64_t>(result) & kept);
}

// Magnitudes are whole decibels in integer streams, truncated; integer angles are fractions of pi at full scale.
template <class Element>
Element magnitudeOf(double logarithm, std::uint64_t kept, double scale) {
    return truncateTo<Element>(20.0 * keptOf(logarithm, kept) * scale);
}
template <class Element>
Element phaseOf(double angle, std::uint64_t kept) {
    double phase = keptOf(angle, kept);
    if constexpr (std::is_integral_v<Element>)
        phase = phase * static_cast<double>(std::numeric_limits<Element>::max()) / std::numbers::pi;
    return truncateTo<Element>(phase);
}

// From the logarithms of the ratios and the points' angles, which are in the place of `ratio` and `y`.
template <class Element>
ZCMDS_VECTOR_CLONES void storeTransfer(const TransferPiece& piece, double scale, Element* mag, Element* phase,
                                       std::int32_t n) {
    for (std::int32_t i = 0; i < n; ++i) {
        mag[i] = magnitudeOf<Element>(piece.ratio[i], piece.kept[i], scale);
        phase[i] = phaseOf<Element>(piece.y[i], piece.kept[i]);
    }
}

// The same from approximations, where they are enough.
template <class Element>
bool storeMagnitudes(const TransferPiece& piece, double scale, Element* mag, std::int32_t n) {
    return storeApproximations(
        mag, n, [&ratio = piece.ratio](std::int32_t i) { return logarithmAround(ratio[i]); },
        [&kept = piece.kept, scale](double logarithm, std::int32_t i) {
            return magnitudeOf<Element>(logarithm, kept[i], scale);
        });
}
template <class Element>
bool storePhases(const TransferPiece& piece, Element* phase, std::int32_t n) {
    return storeApproximations(
        phase, n, [&x = piece.x, &y = piece.y](std::int32_t i) { return angleAround(y[i], x[i]); },
        [&kept = piece.kept](double angle, std::int32_t i) { return phaseOf<Element>(angle, kept[i]); });
}

// Computes the results at `n` positions, piece by piece: `prepare(start, count, piece)` fills a piece. It reads each position
// from all blocks before it is written: the results share the buffers of the first two.
template <class Element, class Prepare>
void transformPositions(const TransferState& state, std::int32_t n, Prepare prepare) {
    const double scale = state.scale > 0 ? state.scale : 1.0;
    auto *mag = static_cast<Element*>(state.mag.ptr), *phase = static_cast<Element*>(state.phase.ptr);
    inPieces(n, [&](std::int32_t start, std::int32_t count) {
        TransferPiece piece;
        prepare(start, count, piece);
        if constexpr (!std::is_same_v<Element, double>)
            if (storeMagnitudes(piece, scale, mag + start, count) && storePhases(piece, phase + start, count)) return;
        mathematics.log10Array(piece.ratio, piece.ratio, count);
        mathematics.atan2Array(piece.y, piece.x, piece.y, count);
        storeTransfer(piece, scale, mag + start, phase + start, count);
    });
}

// Publishes the `n` results of a block.
inline void flushTransfer(TransferState& state, std::int32_t n) {
    state.mag.pending = state.phase.pending = n;
    state.mag.flush();
    state.phase.flush();
}

}  // namespace zcmds
