// What the two transfer-function commands share: the record, the optional parameters and the form of the results.
#pragma once

#include <cstdint>
#include <numbers>

#include "frame/checks.h"
#include "frame/exact.h"

namespace zcmds {

constexpr std::int32_t transferCapacity = 512;  // elements of every pipe's block

struct TransferState {
    StreamReader srcr1, srci1, srcr2, srci2;  // TFUNCTION2 leaves srci1 idle
    StreamWriter mag, phase;
    double lim1 = 0;   // least amplitude of the input side; positions below it are suppressed
    double lim2 = 0;   // TFUNCTION1: least amplitude of the output side; TFUNCTION2: least ratio of the two
    double scale = 0;  // factor of the magnitude where positive; else there is none
};

// The result at one position. A suppressed position stays all zero.
struct TransferPoint {
    double magnitude = 0;  // dB
    double angle = 0;      // radians, -pi to pi
};

// Checks and reads the parameters from position `first` on: `scale` alone, `lim1` and `lim2`, or all three.
void readTransferOptions(ParamList list, const Slot* params, std::int32_t first, std::int32_t count,
                         TransferState& state);

// Magnitudes are whole decibels in integer streams, truncated; integer angles are fractions of pi at full scale.
template <class Element>
void storeTransferPoint(TransferPoint point, double scale, Element& mag, Element& phase) {
    if (scale > 0) point.magnitude *= scale;
    mag = truncateTo<Element>(point.magnitude);
    if constexpr (std::is_same_v<Element, std::int16_t>) point.angle = point.angle * 32767.0 / std::numbers::pi;
    if constexpr (std::is_same_v<Element, std::int32_t>) point.angle = point.angle * 2147483647.0 / std::numbers::pi;
    phase = truncateTo<Element>(point.angle);
}

// Publishes the `n` results of a block.
inline void flushTransfer(TransferState& state, std::int32_t n) {
    state.mag.pending = state.phase.pending = n;
    state.mag.flush();
    state.phase.flush();
}

}  // namespace zcmds
