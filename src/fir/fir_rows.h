// The sums of a filter's pass, made row by row: a row holds samples or sums side by side that meet the same tap. A sum runs
// in the order of the taps.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

namespace zcmds {

// Rows are as long as the widest vectors that any machine has, and aligned as those.
inline constexpr std::int32_t rowBytes = 64;

template <class Sum>
inline constexpr std::int32_t lanes = rowBytes / sizeof(Sum);

// Rows that are still to be made: each from `begin` to `end` holds what the row `begin` earlier holds, moved on by one lane, and
// after it last[row].
template <class Sum>
struct ShiftedRows {
    Sum* rows;
    const Sum* last;
    std::int32_t begin, end;
};

// A frame takes up `pieces` rows. At tap k the row p of output frame j meets the row p of frame j * decimation + k.
template <class Sum>
struct RowSums {
    const Sum* samples;
    const Sum* taps;          // the coefficients
    std::int32_t tapCount;    // how many
    std::int32_t decimation;  // frames from output to output
    std::int32_t pieces;      // rows a frame
};

// Moves `lanes` on by one, with the first of `next` after them.
template <class Vector, std::size_t... lane>
[[gnu::always_inline]] inline void moveOn(const Vector& lanes, const Vector& next, Vector& to,
                                          std::index_sequence<lane...>) {
    to = __builtin_shufflevector(lanes, next, (lane + 1)...);
}

// Makes one of them, of a row that is one vector.
template <class Vector, class Sum>
[[gnu::always_inline]] inline void makeRow(const ShiftedRows<Sum>& shifted, std::int32_t row) {
    auto* const rows = reinterpret_cast<Vector*>(shifted.rows);
    moveOn(rows[row - shifted.begin], Vector{shifted.last[row]}, rows[row],
           std::make_index_sequence<sizeof(Vector) / sizeof(Sum)>());
}

// Makes `rows` rows of sums from `row` on. A row has `rowSize` elements, a multiple of a vector's. Where it makes the shifted
// rows, too, it does so beside the taps, of which there are more: additions that wait for each other leave time for it.
template <std::int32_t rows, class Vector, std::int32_t rowSize, bool makesRows, class Sum>
[[gnu::always_inline]] inline void sumTile(const RowSums<Sum>& given, const ShiftedRows<Sum>& shifted, std::int32_t row,
                                           Sum* sums) {
    const std::int32_t step = given.pieces * rowSize;
    for (std::int32_t lane = 0; lane < rowSize; lane += static_cast<std::int32_t>(sizeof(Vector) / sizeof(Sum))) {
        const Sum* met[rows];
        Vector sum[rows];
        std::int32_t frame = row / given.pieces * given.decimation, piece = row % given.pieces;
        for (std::int32_t i = 0; i < rows; ++i) {
            met[i] = given.samples + frame * step + piece * rowSize + lane;
            sum[i] = Vector{};
            if (++piece == given.pieces) {
                piece = 0;
                frame += given.decimation;
            }
        }
        const auto addTap = [&](std::int32_t k) __attribute__((always_inline)) {
            const Sum tap = given.taps[k];
            for (std::int32_t i = 0; i < rows; ++i) sum[i] += tap * *reinterpret_cast<const Vector*>(met[i] + k * step);
        };
        std::int32_t k = 0;
        if constexpr (makesRows) {
            constexpr std::int32_t ahead = 32;  // a row that was just stored is slow to load
            std::int32_t made = shifted.begin;
            for (; made < shifted.end && made < shifted.begin + ahead; ++made) makeRow<Vector>(shifted, made);
            for (; made < shifted.end; ++made, ++k) {
                makeRow<Vector>(shifted, made);
                addTap(k);
            }
        }
        for (; k < given.tapCount; ++k) addTap(k);
        for (std::int32_t i = 0; i < rows; ++i) *reinterpret_cast<Vector*>(sums + (row + i) * rowSize + lane) = sum[i];
    }
}

// The same for rows that each meet at a tap what the next one met at the tap before: every row of samples is loaded once, and
// moves on in the registers.
template <std::int32_t rows, class Vector, class Sum>
[[gnu::always_inline]] inline void sumNeighbours(const RowSums<Sum>& given, std::int32_t row, Sum* sums) {
    const auto* const samples = reinterpret_cast<const Vector*>(given.samples) + row;
    Vector sum[rows] = {}, met[rows];
    for (std::int32_t i = 0; i < rows; ++i) met[i] = samples[i];
    std::int32_t k = 0;
    for (; k + rows < given.tapCount; k += rows) {
#pragma GCC unroll 16
        for (std::int32_t turn = 0; turn < rows; ++turn) {
            const Sum tap = given.taps[k + turn];
#pragma GCC unroll 16
            for (std::int32_t i = 0; i < rows; ++i) sum[i] += tap * met[(i + turn) % rows];
            met[turn] = samples[k + turn + rows];
        }
    }
    for (; k < given.tapCount; ++k) {
        const Sum tap = given.taps[k];
        for (std::int32_t i = 0; i < rows; ++i) sum[i] += tap * samples[k + i];
    }
    for (std::int32_t i = 0; i < rows; ++i) reinterpret_cast<Vector*>(sums)[row + i] = sum[i];
}

// Sums of so many rows stay in registers from the first tap to the last.
inline constexpr std::int32_t maxTileRows = 8;

template <std::int32_t rows, class Vector, std::int32_t rowSize, bool makesRows, class Sum>
[[gnu::always_inline]] inline void sumTileOf(std::int32_t wanted, const RowSums<Sum>& given,
                                             const ShiftedRows<Sum>& shifted, std::int32_t row, Sum* sums) {
    if (wanted == rows) {
        if constexpr (rows >= 4 && sizeof(Vector) == rowBytes && !makesRows) {
            if (given.decimation == 1 && given.pieces == 1) return sumNeighbours<rows, Vector>(given, row, sums);
        }
        sumTile<rows, Vector, rowSize, makesRows>(given, shifted, row, sums);
    } else if constexpr (rows > 1)
        sumTileOf<rows - 1, Vector, rowSize, makesRows>(wanted, given, shifted, row, sums);
}

template <std::int32_t vectorBytes, class Sum>
[[gnu::always_inline]] inline void shiftAll(const ShiftedRows<Sum>& shifted) {
    using Vector [[gnu::vector_size(vectorBytes), gnu::may_alias]] = Sum;
    constexpr std::int32_t vectors = rowBytes / vectorBytes;
    constexpr auto lane = std::make_index_sequence<vectorBytes / sizeof(Sum)>();
    auto* const rows = reinterpret_cast<Vector*>(shifted.rows);
    for (std::int32_t row = shifted.begin; row < shifted.end; ++row) {
        const Vector* const from = rows + (row - shifted.begin) * vectors;
        Vector* const to = rows + row * vectors;
        Vector here = from[0];
        for (std::int32_t i = 0; i + 1 < vectors; ++i) {
            const Vector next = from[i + 1];
            moveOn(here, next, to[i], lane);
            here = next;
        }
        moveOn(here, Vector{shifted.last[row]}, to[vectors - 1], lane);
    }
}

// Tiles as equal as can be: one with few rows would wait for its own additions.
template <std::int32_t vectorBytes, class Sum>
[[gnu::always_inline]] inline void sumAll(const RowSums<Sum>& given, const ShiftedRows<Sum>& shifted, std::int32_t rows,
                                          Sum* sums) {
    using Vector [[gnu::vector_size(vectorBytes), gnu::may_alias]] = Sum;
    std::int32_t tiles = (rows + maxTileRows - 1) / maxTileRows, row = 0;
    const auto tileRows = [&] { return (rows - row + tiles - 1) / tiles; };
    if (shifted.begin < shifted.end) {
        if (vectorBytes == rowBytes && given.decimation > 1) {
            const std::int32_t wanted = tileRows();
            sumTileOf<maxTileRows, Vector, lanes<Sum>, vectorBytes == rowBytes>(wanted, given, shifted, row, sums);
            row += wanted;
            --tiles;
        } else {
            shiftAll<vectorBytes>(shifted);
        }
    }
    for (; row < rows; --tiles) {
        const std::int32_t wanted = tileRows();
        sumTileOf<maxTileRows, Vector, lanes<Sum>, false>(wanted, given, shifted, row, sums);
        row += wanted;
    }
}

// Up to maxTileRows sums from samples in their own order: rows of one element, as many a frame as it has samples.
template <class Sum>
void dotProducts(const RowSums<Sum>& given, std::int32_t count, Sum* sums) {
    sumTileOf<maxTileRows, Sum, 1, false>(count, given, ShiftedRows<Sum>{}, 0, sums);
}

// The loader picks the version for the machine. These are no clones of one function, since the width of the vectors decides
// how many sums the registers hold.
#if defined(__x86_64__) && !defined(__clang__) && !defined(__SANITIZE_ADDRESS__)
[[gnu::target("default")]] inline void sumRows(const RowSums<float>& given, const ShiftedRows<float>& shifted,
                                               std::int32_t rows, float* sums) {
    sumAll<16>(given, shifted, rows, sums);
}
[[gnu::target("default")]] inline void shiftRows(const ShiftedRows<float>& shifted) { shiftAll<16>(shifted); }
[[gnu::target("default")]] inline void sumRows(const RowSums<double>& given, const ShiftedRows<double>& shifted,
                                               std::int32_t rows, double* sums) {
    sumAll<16>(given, shifted, rows, sums);
}
[[gnu::target("default")]] inline void shiftRows(const ShiftedRows<double>& shifted) { shiftAll<16>(shifted); }
[[gnu::target("avx2")]] inline void sumRows(const RowSums<float>& given, const ShiftedRows<float>& shifted,
                                            std::int32_t rows, float* sums) {
    sumAll<32>(given, shifted, rows, sums);
}
[[gnu::target("avx2")]] inline void shiftRows(const ShiftedRows<float>& shifted) { shiftAll<32>(shifted); }
[[gnu::target("avx2")]] inline void sumRows(const RowSums<double>& given, const ShiftedRows<double>& shifted,
                                            std::int32_t rows, double* sums) {
    sumAll<32>(given, shifted, rows, sums);
}
[[gnu::target("avx2")]] inline void shiftRows(const ShiftedRows<double>& shifted) { shiftAll<32>(shifted); }
[[gnu::target("arch=x86-64-v4")]] inline void sumRows(const RowSums<float>& given, const ShiftedRows<float>& shifted,
                                                      std::int32_t rows, float* sums) {
    sumAll<64>(given, shifted, rows, sums);
}
[[gnu::target("arch=x86-64-v4")]] inline void shiftRows(const ShiftedRows<float>& shifted) { shiftAll<64>(shifted); }
[[gnu::target("arch=x86-64-v4")]] inline void sumRows(const RowSums<double>& given, const ShiftedRows<double>& shifted,
                                                      std::int32_t rows, double* sums) {
    sumAll<64>(given, shifted, rows, sums);
}
[[gnu::target("arch=x86-64-v4")]] inline void shiftRows(const ShiftedRows<double>& shifted) { shiftAll<64>(shifted); }
#else
template <class Sum>
void sumRows(const RowSums<Sum>& given, const ShiftedRows<Sum>& shifted, std::int32_t rows, Sum* sums) {
    sumAll<16>(given, shifted, rows, sums);
}
template <class Sum>
void shiftRows(const ShiftedRows<Sum>& shifted) {
    shiftAll<16>(shifted);
}
#endif

}  // namespace zcmds
