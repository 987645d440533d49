// What the two transfer-function commands share: the record, the optional parameters and the form of the results.
#pragma once

#include <cstdint>
#include <limits>
#include <numbers>
#include <type_traits>

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
    std::int64_t weak[mathematicsPiece];              // not 0 where the position is suppressed
};

// Checks and reads the parameters from position `first` on: `scale` alone, `lim1` and `lim2`, or all three.
void readTransferOptions(ParamList list, const Slot* params, std::int32_t first, std::int32_t count,
                         TransferState& state);

// Magnitudes are whole decibels in integer streams, truncated; integer angles are fractions of pi at full scale. A
// suppressed position is all zero.
template <class Element>
ZCMDS_VECTOR_CLONES void storeTransfer(const TransferPiece& piece, double scale, Element* mag, Element* phase,
                                       std::int32_t n) {
    for (std::int32_t i = 0; i < n; ++i) {
        double magnitude = piece.weak[i] != 0 ? 0.0 : 20.0 * piece.ratio[i];
        if (scale > 0) magnitude *= scale;
        mag[i] = truncateTo<Element>(magnitude);
        double angle = piece.weak[i] != 0 ? 0.0 : piece.y[i];
        if constexpr (std::is_integral_v<Element>)
            angle = angle * static_cast<double>(std::numeric_limits<Element>::max()) / std::numbers::pi;
        phase[i] = truncateTo<Element>(angle);
    }
}

// Computes the results at `n` positions, piece by piece: `prepare(start, count, piece)` fills a piece. It reads each position
// from all blocks before it is written: the results share the buffers of the first two.
template <class Element, class Prepare>
void transformPositions(const TransferState& state, std::int32_t n, Prepare prepare) {
    auto *mag = static_cast<Element*>(state.mag.ptr), *phase = static_cast<Element*>(state.phase.ptr);
    inPieces(n, [&](std::int32_t start, std::int32_t count) {
        TransferPiece piece;
        prepare(start, count, piece);
        mathematics.log10Array(piece.ratio, piece.ratio, count);
        mathematics.atan2Array(piece.y, piece.x, piece.y, count);
        storeTransfer(piece, state.scale, mag + start, phase + start, count);
    });
}

// Publishes the `n` results of a block.
inline void flushTransfer(TransferState& state, std::int32_t n) {
    state.mag.pending = state.phase.pending = n;
    state.mag.flush();
    state.phase.flush();
}

}  // namespace zcmds
