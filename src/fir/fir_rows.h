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

// A frame takes up `pieces` rows. At tap k the row p of output frame j meets the row p of frame j * decimation + k.
template <class Sum>
struct RowSums {
    const Sum* samples;
    const Sum* taps;          // the coefficients
    std::int32_t tapCount;    // how many
    std::int32_t decimation;  // frames from output to output
    std::int32_t pieces;      // rows a frame
};

// Makes `rows` rows of sums from `row` on. A row has `rowSize` elements, a multiple of a vector's.
template <std::int32_t rows, class Vector, std::int32_t rowSize, class Sum>
[[gnu::always_inline]] inline void sumTile(const RowSums<Sum>& given, std::int32_t row, Sum* sums) {
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
        for (std::int32_t k = 0; k < given.tapCount; ++k) {
            const Sum tap = given.taps[k];
            for (std::int32_t i = 0; i < rows; ++i) sum[i] += tap * *reinterpret_cast<const Vector*>(met[i] + k * step);
        }
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

template <std::int32_t rows, class Vector, std::int32_t rowSize, class Sum>
[[gnu::always_inline]] inline void sumTileOf(std::int32_t wanted, const RowSums<Sum>& given, std::int32_t row,
                                             Sum* sums) {
    if (wanted == rows) {
        if constexpr (rows >= 4 && sizeof(Vector) == rowBytes) {
            if (given.decimation == 1 && given.pieces == 1) return sumNeighbours<rows, Vector>(given, row, sums);
        }
        sumTile<rows, Vector, rowSize>(given, row, sums);
    } else if constexpr (rows > 1)
        sumTileOf<rows - 1, Vector, rowSize>(wanted, given, row, sums);
}

// Tiles as equal as can be: one with few rows would wait for its own additions.
template <std::int32_t vectorBytes, class Sum>
[[gnu::always_inline]] inline void sumAll(const RowSums<Sum>& given, std::int32_t rows, Sum* sums) {
    using Vector [[gnu::vector_size(vectorBytes), gnu::may_alias]] = Sum;
    std::int32_t tiles = (rows + maxTileRows - 1) / maxTileRows;
    for (std::int32_t row = 0; row < rows; --tiles) {
        const std::int32_t wanted = (rows - row + tiles - 1) / tiles;
        sumTileOf<maxTileRows, Vector, lanes<Sum>>(wanted, given, row, sums);
        row += wanted;
    }
}

// Up to maxTileRows sums from samples in their own order: rows of one element, as many a frame as it has samples.
template <class Sum>
void dotProducts(const RowSums<Sum>& given, std::int32_t count, Sum* sums) {
    sumTileOf<maxTileRows, Sum, 1>(count, given, 0, sums);
}

// Row by row from `step` to `end`: what the row `step` earlier holds, moved on by one lane, and after it last[row].
template <std::int32_t vectorBytes, class Sum, std::size_t... lane>
[[gnu::always_inline]] inline void shiftAll(const Sum* last, std::int32_t step, std::int32_t end, Sum* rows,
                                            std::index_sequence<lane...>) {
    using Vector [[gnu::vector_size(vectorBytes), gnu::may_alias]] = Sum;
    constexpr std::int32_t vectors = rowBytes / vectorBytes;
    for (std::int32_t row = step; row < end; ++row) {
        const auto* from = reinterpret_cast<const Vector*>(rows + (row - step) * lanes<Sum>);
        auto* to = reinterpret_cast<Vector*>(rows + row * lanes<Sum>);
        Vector here = from[0];
        Sum appended;
        std::memcpy(&appended, last + row, sizeof appended);  // which may be two floats
        for (std::int32_t i = 0; i < vectors; ++i) {
            const Vector next = i + 1 < vectors ? from[i + 1] : Vector{appended};
            to[i] = __builtin_shufflevector(here, next, (lane + 1)...);
            here = next;
        }
    }
}

// The loader picks the version for the machine. These are no clones of one function, since the width of the vectors decides
// how many sums the registers hold.
#if defined(__x86_64__) && !defined(__clang__) && !defined(__SANITIZE_ADDRESS__)
[[gnu::target("default")]] inline void sumRows(const RowSums<float>& given, std::int32_t rows, float* sums) {
    sumAll<16>(given, rows, sums);
}
[[gnu::target("default")]] inline void shiftRows(const float* last, std::int32_t step, std::int32_t end, float* rows) {
    shiftAll<16>(last, step, end, rows, std::make_index_sequence<16 / sizeof(float)>());
}
[[gnu::target("default")]] inline void sumRows(const RowSums<double>& given, std::int32_t rows, double* sums) {
    sumAll<16>(given, rows, sums);
}
[[gnu::target("default")]] inline void shiftRows(const double* last, std::int32_t step, std::int32_t end,
                                                 double* rows) {
    shiftAll<16>(last, step, end, rows, std::make_index_sequence<16 / sizeof(double)>());
}
[[gnu::target("avx2")]] inline void sumRows(const RowSums<float>& given, std::int32_t rows, float* sums) {
    sumAll<32>(given, rows, sums);
}
[[gnu::target("avx2")]] inline void shiftRows(const float* last, std::int32_t step, std::int32_t end, float* rows) {
    shiftAll<32>(last, step, end, rows, std::make_index_sequence<32 / sizeof(float)>());
}
[[gnu::target("avx2")]] inline void sumRows(const RowSums<double>& given, std::int32_t rows, double* sums) {
    sumAll<32>(given, rows, sums);
}
[[gnu::target("avx2")]] inline void shiftRows(const double* last, std::int32_t step, std::int32_t end, double* rows) {
    shiftAll<32>(last, step, end, rows, std::make_index_sequence<32 / sizeof(double)>());
}
[[gnu::target("arch=x86-64-v4")]] inline void sumRows(const RowSums<float>& given, std::int32_t rows, float* sums) {
    sumAll<64>(given, rows, sums);
}
[[gnu::target("arch=x86-64-v4")]] inline void shiftRows(const float* last, std::int32_t step, std::int32_t end,
                                                        float* rows) {
    shiftAll<64>(last, step, end, rows, std::make_index_sequence<64 / sizeof(float)>());
}
[[gnu::target("arch=x86-64-v4")]] inline void sumRows(const RowSums<double>& given, std::int32_t rows, double* sums) {
    sumAll<64>(given, rows, sums);
}
[[gnu::target("arch=x86-64-v4")]] inline void shiftRows(const double* last, std::int32_t step, std::int32_t end,
                                                        double* rows) {
    shiftAll<64>(last, step, end, rows, std::make_index_sequence<64 / sizeof(double)>());
}
#else
template <class Sum>
void sumRows(const RowSums<Sum>& given, std::int32_t rows, Sum* sums) {
    sumAll<16>(given, rows, sums);
}
template <class Sum>
void shiftRows(const Sum* last, std::int32_t step, std::int32_t end, Sum* rows) {
    shiftAll<16>(last, step, end, rows, std::make_index_sequence<16 / sizeof(Sum)>());
}
#endif

}  // namespace zcmds
