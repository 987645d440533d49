// Moves the samples of a filter's pass into rows and its sums back. The outputs of a pass are cut into as many runs of
// consecutive ones as a row has room for frames: a row holds the first frame that each run needs, the next row the second,
// and so on. So the samples that a tap meets are in one row, whatever the decimation, and no vector crosses the lines of
// the memory.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "fir/fir_rows.h"
#include "frame/vector_clones.h"

namespace zcmds {

// How frames make rows.
struct RowLayout {
    std::int32_t nchans;  // samples of a frame
    std::int32_t piece;   // samples side by side in a row: a power of two
    std::int32_t pieces;  // pieces that hold a frame; the last may reach past it
    std::int32_t runs;    // pieces that fill a row
};

template <class Sum>
RowLayout rowLayout(std::int32_t nchans) {
    std::int32_t piece = 1;
    while (piece < nchans && piece < lanes<Sum>) piece *= 2;
    return {nchans, piece, (nchans + piece - 1) / piece, lanes<Sum> / piece};
}

inline std::int32_t outputsPerRun(const RowLayout& layout, std::int32_t outputs) {
    return (outputs + layout.runs - 1) / layout.runs;
}

// Only a piece as wide as a row may have others beside it.
template <std::int32_t piece, class Sum>
constexpr std::int32_t piecesOf(const RowLayout& layout) {
    return piece < lanes<Sum> ? 1 : layout.pieces;
}

// Takes `frames` frames of each run, whose first are `runStep` frames apart, to the rows; returns which of them are still to be
// made.
template <class Sum>
using ScatterSamples = ShiftedRows<Sum> (*)(const RowLayout& layout, const Sum* samples, std::int32_t runStep,
                                            std::int32_t frames, Sum* rows);

// Takes runs of `perRun` frames from the rows.
template <class Sum>
using GatherSums = void (*)(const RowLayout& layout, const Sum* rows, std::int32_t perRun, Sum* sums);

template <std::int32_t piece, class Sum>
ZCMDS_VECTOR_CLONES ShiftedRows<Sum> scatterPieces(const RowLayout& layout, const Sum* samples, std::int32_t runStep,
                                                   std::int32_t frames, Sum* rows) {
    const std::int32_t nchans = layout.nchans, pieces = piecesOf<piece, Sum>(layout);
    for (std::int32_t run = 0; run < lanes<Sum> / piece; ++run) {
        const Sum* from = samples + run * runStep * nchans;
        Sum* to = rows + run * piece;
        for (std::int32_t frame = 0; frame < frames; ++frame, from += nchans)
            for (std::int32_t i = 0; i < pieces; ++i, to += lanes<Sum>)
                std::memcpy(to, from + i * piece, piece * sizeof(Sum));
    }
    return {};
}

// What a piece holds too much is overwritten by the next frame.
template <std::int32_t piece, class Sum>
ZCMDS_VECTOR_CLONES void gatherPieces(const RowLayout& layout, const Sum* rows, std::int32_t perRun, Sum* sums) {
    const std::int32_t nchans = layout.nchans, pieces = piecesOf<piece, Sum>(layout);
    Sum* to = sums;
    for (std::int32_t run = 0; run < lanes<Sum> / piece; ++run) {
        const Sum* from = rows + run * piece;
        for (std::int32_t frame = 0; frame < perRun; ++frame, to += nchans)
            for (std::int32_t i = 0; i < pieces; ++i, from += lanes<Sum>)
                std::memcpy(to + i * piece, from, piece * sizeof(Sum));
    }
}

// Vectors that every machine has, and the number of them that can be transposed.
template <class Element>
inline constexpr std::int32_t transposeSize = 16 / sizeof(Element);

template <class Element>
using RowVector [[gnu::vector_size(16)]] = Element;

inline void transpose(RowVector<double> (&v)[2]) {
    const RowVector<double> first = v[0];
    v[0] = __builtin_shufflevector(first, v[1], 0, 2);
    v[1] = __builtin_shufflevector(first, v[1], 1, 3);
}

inline void transpose(RowVector<float> (&v)[4]) {
    const RowVector<float> upperLeft = __builtin_shufflevector(v[0], v[1], 0, 4, 1, 5);
    const RowVector<float> upperRight = __builtin_shufflevector(v[0], v[1], 2, 6, 3, 7);
    const RowVector<float> lowerLeft = __builtin_shufflevector(v[2], v[3], 0, 4, 1, 5);
    const RowVector<float> lowerRight = __builtin_shufflevector(v[2], v[3], 2, 6, 3, 7);
    v[0] = __builtin_shufflevector(upperLeft, lowerLeft, 0, 1, 4, 5);
    v[1] = __builtin_shufflevector(upperLeft, lowerLeft, 2, 3, 6, 7);
    v[2] = __builtin_shufflevector(upperRight, lowerRight, 0, 1, 4, 5);
    v[3] = __builtin_shufflevector(upperRight, lowerRight, 2, 3, 6, 7);
}

template <class Element>
[[gnu::always_inline]] inline void moveTransposed(const Element* from, std::int32_t fromStep, Element* to,
                                                  std::int32_t toStep) {
    constexpr std::int32_t size = transposeSize<Element>;
    RowVector<Element> block[size];
    for (std::int32_t i = 0; i < size; ++i) std::memcpy(&block[i], from + i * fromStep, sizeof block[i]);
    transpose(block);
    for (std::int32_t i = 0; i < size; ++i) std::memcpy(to + i * toStep, &block[i], sizeof block[i]);
}

// Frames of one sample: by transposed tiles until each run has reached the next one's start, writing up to transposeSize -
// 1 rows too much. From there on a row has the samples of an earlier one, moved on by one run, and one more.
template <class Sum>
ZCMDS_VECTOR_CLONES ShiftedRows<Sum> scatterTransposed(const RowLayout&, const Sum* samples, std::int32_t runStep,
                                                       std::int32_t frames, Sum* rows) {
    constexpr std::int32_t size = transposeSize<Sum>;
    const std::int32_t first = frames < runStep ? frames : runStep;
    for (std::int32_t frame = 0; frame < first; frame += size)
        for (std::int32_t run = 0; run < lanes<Sum>; run += size)
            moveTransposed(samples + run * runStep + frame, runStep, rows + frame * lanes<Sum> + run, lanes<Sum>);
    return {rows, samples + (lanes<Sum> - 1) * runStep, runStep, frames};
}

template <class Sum>
ZCMDS_VECTOR_CLONES void gatherTransposed(const RowLayout&, const Sum* rows, std::int32_t perRun, Sum* sums) {
    constexpr std::int32_t size = transposeSize<Sum>;
    std::int32_t frame = 0;
    for (; frame + size <= perRun; frame += size)
        for (std::int32_t run = 0; run < lanes<Sum>; run += size)
            moveTransposed(rows + frame * lanes<Sum> + run, lanes<Sum>, sums + run * perRun + frame, perRun);
    for (; frame < perRun; ++frame)
        for (std::int32_t run = 0; run < lanes<Sum>; ++run)
            std::memcpy(sums + run * perRun + frame, rows + frame * lanes<Sum> + run, sizeof(Sum));
}

// A frame of two floats moves as one element of their size.
inline ShiftedRows<float> scatterFloatPairs(const RowLayout& layout, const float* samples, std::int32_t runStep,
                                            std::int32_t frames, float* rows) {
    shiftRows(scatterTransposed(layout, reinterpret_cast<const double*>(samples), runStep, frames,
                                reinterpret_cast<double*>(rows)));
    return {};
}
inline void gatherFloatPairs(const RowLayout& layout, const float* rows, std::int32_t perRun, float* sums) {
    gatherTransposed(layout, reinterpret_cast<const double*>(rows), perRun, reinterpret_cast<double*>(sums));
}

template <std::int32_t piece = 2, class Sum>
void selectMoves(const RowLayout& layout, ScatterSamples<Sum>& scatter, GatherSums<Sum>& gather) {
    if constexpr (std::is_same_v<Sum, float>) {
        if (layout.nchans == 2) {
            scatter = scatterFloatPairs;
            gather = gatherFloatPairs;
            return;
        }
    }
    if (layout.piece == 1) {
        scatter = scatterTransposed<Sum>;
        gather = gatherTransposed<Sum>;
    } else if (layout.piece == piece) {
        scatter = scatterPieces<piece, Sum>;
        gather = gatherPieces<piece, Sum>;
    } else if constexpr (piece < lanes<Sum>) {
        selectMoves<piece * 2>(layout, scatter, gather);
    }
}

}  // namespace zcmds
