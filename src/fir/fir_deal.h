// Deals out the frames of a filter's pass: row p of `rows` gets the frames p, p + rowCount, ... one behind the other. So the
// samples that one tap meets in consecutive outputs lie side by side.
#pragma once

#include <cstdint>
#include <cstring>

#include "frame/vector_clones.h"

namespace zcmds {

// Vectors that every machine has, and as many of them as make a square.
template <class Element>
inline constexpr std::int32_t squareSize = 16 / sizeof(Element);

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

// Frames of one sample, square by square. Reads up to squareSize * rowCount elements past the samples and writes as many
// whole squares as hold them, so up to squareSize - 1 rows more, each squareSize - 1 elements longer.
template <class Element>
ZCMDS_VECTOR_CLONES void dealSamples(const Element* samples, std::int32_t n, std::int32_t rowCount, Element* rows,
                                     std::int32_t rowSize) {
    constexpr std::int32_t size = squareSize<Element>;
    const std::int32_t columns = (n + rowCount - 1) / rowCount;
    for (std::int32_t row = 0; row < rowCount; row += size) {
        for (std::int32_t column = 0; column < columns; column += size) {
            RowVector<Element> square[size];
            for (std::int32_t i = 0; i < size; ++i)
                std::memcpy(&square[i], samples + (column + i) * rowCount + row, sizeof square[i]);
            transpose(square);
            for (std::int32_t i = 0; i < size; ++i)
                std::memcpy(rows + (row + i) * rowSize + column, &square[i], sizeof square[i]);
        }
    }
}

// Frames of several samples are copied in pieces of so many; what a piece holds too much is overwritten by the next frame.
inline constexpr std::int32_t dealPiece = 8;

// Reads up to dealPiece - 1 elements past the frames and writes as many behind each row.
template <class Element>
ZCMDS_VECTOR_CLONES void dealFrames(const Element* __restrict samples, std::int32_t n, std::int32_t nchans,
                                    std::int32_t rowCount, Element* __restrict rows, std::int32_t rowSize) {
    for (std::int32_t row = 0; row < rowCount; ++row) {
        Element* to = rows + row * rowSize;
        for (std::int32_t frame = row; frame < n; frame += rowCount, to += nchans)
            for (std::int32_t piece = 0; piece < nchans; piece += dealPiece)
                for (std::int32_t i = piece; i < piece + dealPiece; ++i) to[i] = samples[frame * nchans + i];
    }
}

}  // namespace zcmds
