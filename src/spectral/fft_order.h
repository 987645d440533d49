// The order of the result: elements whose square digits mirror each other change places, and the core's digits are reversed
// by its table.
#pragma once

#include <type_traits>

#include "spectral/fft_butterflies.h"

namespace zcmds {

namespace {

// The first factor f cuts the arrays into f rows; f columns of them are a tile. Tiles begin at 0, f, 2f, ... of the first
// row. What is at row r and column c of a tile belongs to row c and column r of its image. Calls visit(tile, image) for
// each tile and its image, once for both.
template <class Visit>
ZCMDS_INLINE void forEachTilePair(const FftPlan& plan, Visit visit) {
    const std::int32_t* spans = plan.spans;
    const std::int32_t tileWidth = plan.factors[0], rowLength = spans[1];
    std::int32_t image = 0;
    for (std::int32_t tile = 0;;) {
        if (tile <= image) visit(tile, image);
        tile += tileWidth;
        if (tile == rowLength) return;
        // Counts on, with the digits reversed.
        std::int32_t digit = 2;
        for (image += spans[2]; image >= spans[digit - 1]; image += spans[digit]) {
            image -= spans[digit - 1];
            ++digit;
        }
    }
}

void permuteSquares(double* a, double* b, const FftPlan& plan) {
    const std::int32_t width = plan.factors[0], rowLength = plan.spans[1];
    forEachTilePair(plan, [=](std::int32_t tile, std::int32_t image) {
        for (std::int32_t r = 0; r < width; ++r) {
            for (std::int32_t c = tile == image ? r + 1 : 0; c < width; ++c) {
                const std::int32_t from = tile + r * rowLength + c, to = image + c * rowLength + r;
                const double re = a[from], im = b[from];
                a[from] = a[to];
                b[from] = b[to];
                a[to] = re;
                b[to] = im;
            }
        }
    });
}

// A tile of up to four rows and columns together with its image, each in its half of the lanes.
template <class Kernel>
ZCMDS_INLINE void exchangeNarrow(double* a, double* b, std::ptrdiff_t rowLength, const Kernel& kernel, double scale,
                                 std::ptrdiff_t tile, std::ptrdiff_t image) {
    constexpr int f = Kernel::factor;
    Lanes re[4] = {}, im[4] = {};
    for (int r = 0; r < f; ++r) {
        const std::ptrdiff_t row = r * rowLength;
        re[r] = join(loadRow<f>(a + tile + row), loadRow<f>(a + image + row));
        im[r] = join(loadRow<f>(b + tile + row), loadRow<f>(b + image + row));
    }
    transposeHalves(re);
    transposeHalves(im);
    Points x[4] = {{re[0], im[0]}, {re[1], im[1]}, {re[2], im[2]}, {re[3], im[3]}};
    kernel.transform(x);
    for (int r = 0; r < f; ++r) {
        const std::ptrdiff_t row = r * rowLength;
        const Lanes realPart = x[r].re * scale, imaginaryPart = x[r].im * scale;
        storeRow<f>(a + image + row, lowHalf(realPart));
        storeRow<f>(a + tile + row, highHalf(realPart));
        storeRow<f>(b + image + row, lowHalf(imaginaryPart));
        storeRow<f>(b + tile + row, highHalf(imaginaryPart));
    }
}

// The butterflies of one tile of up to eight rows and columns.
template <class Kernel>
ZCMDS_INLINE void transformTile(const double* a, const double* b, std::ptrdiff_t rowLength, const Kernel& kernel,
                                Points (&x)[laneCount]) {
    Lanes re[laneCount] = {}, im[laneCount] = {};
    for (int r = 0; r < Kernel::factor; ++r) {
        re[r] = loadRow<Kernel::factor>(a + r * rowLength);
        im[r] = loadRow<Kernel::factor>(b + r * rowLength);
    }
    transpose(re);
    transpose(im);
    for (int r = 0; r < Kernel::factor; ++r) x[r] = {re[r], im[r]};
    kernel.transform(x);
}

template <class Kernel>
ZCMDS_INLINE void exchangeWide(double* a, double* b, std::ptrdiff_t rowLength, const Kernel& kernel, double scale,
                               std::ptrdiff_t tile, std::ptrdiff_t image) {
    Points x[laneCount], y[laneCount];
    transformTile(a + tile, b + tile, rowLength, kernel, x);
    transformTile(a + image, b + image, rowLength, kernel, y);
    for (int r = 0; r < Kernel::factor; ++r) {
        const std::ptrdiff_t row = r * rowLength;
        storeRow<Kernel::factor>(a + image + row, Lanes(x[r].re * scale));
        storeRow<Kernel::factor>(b + image + row, Lanes(x[r].im * scale));
        storeRow<Kernel::factor>(a + tile + row, Lanes(y[r].re * scale));
        storeRow<Kernel::factor>(b + tile + row, Lanes(y[r].im * scale));
    }
}

// The last stage together with permuteSquares: the columns of a tile are its butterflies.
template <class Kernel>
ZCMDS_INLINE void lastStageOfTiles(double* a, double* b, const FftPlan& plan, const Kernel& kernel, double scale) {
    const std::ptrdiff_t rowLength = plan.spans[1];
    forEachTilePair(plan, [=](std::int32_t tile, std::int32_t image) {
        if constexpr (Kernel::most <= 4)
            exchangeNarrow(a, b, rowLength, kernel, scale, tile, image);
        else
            exchangeWide(a, b, rowLength, kernel, scale, tile, image);
    });
}

// Moves `width` neighbours along the cycles of the core, in both arrays and in `blocks` blocks at once: each step waits for
// the table's entry.
template <int width, int blocks>
ZCMDS_INLINE void moveAlongCycles(double* a, double* b, const FftPlan& plan, std::ptrdiff_t block, std::ptrdiff_t run) {
    const auto at = [=](int i, std::ptrdiff_t k) { return (i % 2 == 0 ? a : b) + i / 2 * block + k * run; };
    const std::int32_t* next = plan.permutation;
    for (std::int32_t k = plan.permutationTop; k >= 1; --k) {
        if (next[k] < 0) continue;
        double kept[2 * blocks][width];
        for (int i = 0; i < 2 * blocks; ++i) std::memcpy(kept[i], at(i, k), sizeof kept[i]);
        std::int32_t vacant = k;
        for (std::int32_t v = next[k]; v != k; v = -next[v]) {
            for (int i = 0; i < 2 * blocks; ++i) std::memcpy(at(i, vacant), at(i, v), sizeof kept[i]);
            vacant = v;
        }
        for (int i = 0; i < 2 * blocks; ++i) std::memcpy(at(i, vacant), kept[i], sizeof kept[i]);
    }
}

template <int blocks>
ZCMDS_INLINE void permuteBlocks(double* a, double* b, const FftPlan& plan, std::ptrdiff_t block, std::ptrdiff_t run) {
    const auto move = [&]<int width>(std::integral_constant<int, width>) {
        moveAlongCycles<width, blocks>(a, b, plan, block, run);
        a += width;
        b += width;
    };
    std::ptrdiff_t left = run;
    for (; left >= 8; left -= 8) move(std::integral_constant<int, 8>{});
    for (; left >= 4; left -= 4) move(std::integral_constant<int, 4>{});
    if (left == 3) move(std::integral_constant<int, 3>{});
    if (left == 2) move(std::integral_constant<int, 2>{});
    if (left == 1) move(std::integral_constant<int, 1>{});
}

void permuteCore(double* a, double* b, const FftPlan& plan) {
    const std::ptrdiff_t block = plan.spans[plan.squareCount];
    const std::ptrdiff_t run = block / plan.freeProducts[0];  // neighbours that stay neighbours
    std::ptrdiff_t start = 0;
    for (; start + 4 * block <= plan.total; start += 4 * block)
        permuteBlocks<4>(a + start, b + start, plan, block, run);
    for (; start + 2 * block <= plan.total; start += 2 * block)
        permuteBlocks<2>(a + start, b + start, plan, block, run);
    for (; start < plan.total; start += block) permuteBlocks<1>(a + start, b + start, plan, block, run);
}

}  // namespace

}  // namespace zcmds
