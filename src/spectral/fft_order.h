// The order of the result: elements whose square digits mirror each other change places, and the core's digits are reversed
// by its table.
#pragma once

#include <type_traits>

#include "spectral/fft_butterflies.h"

namespace zcmds {

namespace {

// The first factor f cuts the arrays into f rows; f columns of them are a tile. Tiles begin at 0, f, 2f, ... of the first
// row. What is at row r and column c of a tile belongs to row c and column r of its image.
struct TilePair {
    std::int32_t tiles[2], images[2];
};

// Calls visit(pair) with two tiles at a time, whose images are these two again: either each other's, or both their own. An
// odd last one comes twice.
template <class Visit>
ZCMDS_INLINE void forEachTilePair(const FftPlan& plan, Visit visit) {
    const std::int32_t* spans = plan.spans;
    const std::int32_t width = plan.factors[0], rowLength = spans[1];
    std::int32_t image = 0, waiting = -1;
    for (std::int32_t tile = 0;;) {
        if (tile < image) {
            visit(TilePair{{tile, image}, {image, tile}});
        } else if (tile == image) {
            if (waiting >= 0) visit(TilePair{{waiting, tile}, {waiting, tile}});
            waiting = waiting >= 0 ? -1 : tile;
        }
        tile += width;
        if (tile == rowLength) break;
        // Counts on, with the digits reversed.
        std::int32_t digit = 2;
        for (image += spans[2]; image >= spans[digit - 1]; image += spans[digit]) {
            image -= spans[digit - 1];
            ++digit;
        }
    }
    if (waiting >= 0) visit(TilePair{{waiting, waiting}, {waiting, waiting}});
}

ZCMDS_INLINE void swapElements(double* x, std::int32_t i, std::int32_t j) {
    const double held = x[i];
    x[i] = x[j];
    x[j] = held;
}

void permuteSquares(double* a, double* b, const FftPlan& plan) {
    const std::int32_t width = plan.factors[0], rowLength = plan.spans[1];
    const auto swapTiles = [=](std::int32_t tile, std::int32_t image) {
        for (std::int32_t r = 0; r < width; ++r) {
            for (std::int32_t c = tile == image ? r + 1 : 0; c < width; ++c) {
                swapElements(a, tile + r * rowLength + c, image + c * rowLength + r);
                swapElements(b, tile + r * rowLength + c, image + c * rowLength + r);
            }
        }
    };
    forEachTilePair(plan, [&](const TilePair& pair) {
        swapTiles(pair.tiles[0], pair.images[0]);
        if (pair.tiles[1] != pair.tiles[0] && pair.tiles[1] == pair.images[1]) swapTiles(pair.tiles[1], pair.images[1]);
    });
}

// Two tiles of up to four rows and columns, each in its half of the lanes.
template <class Kernel>
ZCMDS_INLINE void finishNarrow(double* a, double* b, std::ptrdiff_t rowLength, const Kernel& kernel, double scale,
                               const TilePair& pair) {
    constexpr int f = Kernel::factor;
    Lanes re[4] = {}, im[4] = {};
    for (int r = 0; r < f; ++r) {
        const std::ptrdiff_t first = pair.tiles[0] + r * rowLength, second = pair.tiles[1] + r * rowLength;
        re[r] = join(loadRow<f>(a + first), loadRow<f>(a + second));
        im[r] = join(loadRow<f>(b + first), loadRow<f>(b + second));
    }
    transposeHalves(re);
    transposeHalves(im);
    ComplexLanes x[4] = {{re[0], im[0]}, {re[1], im[1]}, {re[2], im[2]}, {re[3], im[3]}};
    kernel.transform(x);
    for (int r = 0; r < f; ++r) {
        const std::ptrdiff_t first = pair.images[0] + r * rowLength, second = pair.images[1] + r * rowLength;
        const Lanes realPart = x[r].re * scale, imaginaryPart = x[r].im * scale;
        storeRow<f>(a + first, lowHalf(realPart));
        storeRow<f>(a + second, highHalf(realPart));
        storeRow<f>(b + first, lowHalf(imaginaryPart));
        storeRow<f>(b + second, highHalf(imaginaryPart));
    }
}

// Element `column` of four rows of each tile, 0 to 3 from `rows`, the tiles in a half each, with that of the fifth rows.
struct FiveColumns {
    Lanes fourRows[5];
    QuarterLanes fifthRow[5];
};

// Two tiles of five rows and columns: four rows of each are transposed in a half of the lanes, the fifth rows side by side.
ZCMDS_INLINE FiveColumns loadFives(const double* x, std::ptrdiff_t rowLength, const TilePair& pair) {
    const double *first = x + pair.tiles[0], *second = x + pair.tiles[1];
    FiveColumns columns;
    Lanes ends[4];
    for (int r = 0; r < 4; ++r) {
        const double *one = first + r * rowLength, *other = second + r * rowLength;
        columns.fourRows[r] = join(load<HalfLanes>(one), load<HalfLanes>(other));
        ends[r] = join(load<HalfLanes>(one + 1), load<HalfLanes>(other + 1));
    }
    transposeHalves(columns.fourRows);
    transposeHalves(ends);
    columns.fourRows[4] = ends[3];
    const double *one = first + 4 * rowLength, *other = second + 4 * rowLength;
    for (int c = 0; c < 5; ++c) columns.fifthRow[c] = QuarterLanes{one[c], other[c]};
    return columns;
}

ZCMDS_INLINE void storeFive(double* x, std::ptrdiff_t row, const Lanes& fourColumns, const Lanes& fifthColumn,
                            const TilePair& pair) {
    double *first = x + pair.images[0] + row, *second = x + pair.images[1] + row;
    store(first, lowHalf(fourColumns));
    store(second, highHalf(fourColumns));
    first[4] = fifthColumn[0];
    second[4] = fifthColumn[1];
}

template <class Kernel>
ZCMDS_INLINE void finishFives(double* a, double* b, std::ptrdiff_t rowLength, const Kernel& kernel, double scale,
                              const TilePair& pair) {
    const FiveColumns re = loadFives(a, rowLength, pair), im = loadFives(b, rowLength, pair);
    ComplexLanes four[5], fifth[5];
    for (int c = 0; c < 5; ++c) {
        four[c] = {re.fourRows[c], im.fourRows[c]};
        fifth[c] = {widened(re.fifthRow[c]), widened(im.fifthRow[c])};
    }
    kernel.transform(four);
    kernel.transform(fifth);
    for (int r = 0; r < 5; ++r) {
        storeFive(a, r * rowLength, four[r].re * scale, fifth[r].re * scale, pair);
        storeFive(b, r * rowLength, four[r].im * scale, fifth[r].im * scale, pair);
    }
}

// The butterflies of one tile of up to eight rows and columns.
template <class Kernel>
ZCMDS_INLINE void transformTile(const double* a, const double* b, std::ptrdiff_t rowLength, const Kernel& kernel,
                                ComplexLanes (&x)[laneCount]) {
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
ZCMDS_INLINE void finishWide(double* a, double* b, std::ptrdiff_t rowLength, const Kernel& kernel, double scale,
                             const TilePair& pair) {
    ComplexLanes x[2][laneCount];
    for (int i = 0; i < 2; ++i) transformTile(a + pair.tiles[i], b + pair.tiles[i], rowLength, kernel, x[i]);
    for (int i = 0; i < 2; ++i) {
        for (int r = 0; r < Kernel::factor; ++r) {
            const std::ptrdiff_t to = pair.images[i] + r * rowLength;
            const Lanes realPart = x[i][r].re * scale, imaginaryPart = x[i][r].im * scale;
            storeRow<Kernel::factor>(a + to, realPart);
            storeRow<Kernel::factor>(b + to, imaginaryPart);
        }
    }
}

// The last stage together with permuteSquares: the columns of a tile are its butterflies.
template <class Kernel>
ZCMDS_INLINE void lastStageOfTiles(double* a, double* b, const FftPlan& plan, const Kernel& kernel, double scale) {
    const std::ptrdiff_t rowLength = plan.spans[1];
    forEachTilePair(plan, [=](const TilePair& pair) {
        if constexpr (Kernel::maxFactor <= 4)
            finishNarrow(a, b, rowLength, kernel, scale, pair);
        else if constexpr (Kernel::maxFactor == 5)
            finishFives(a, b, rowLength, kernel, scale, pair);
        else
            finishWide(a, b, rowLength, kernel, scale, pair);
    });
}

// Moves `width` neighbours along the cycles of the core, in both arrays and in `blocks` blocks at once.
template <int width, int blocks>
ZCMDS_INLINE void moveAlongCycles(double* a, double* b, const FftPlan& plan, std::ptrdiff_t block, std::ptrdiff_t run) {
    const auto at = [=](int i, std::ptrdiff_t k) { return (i % 2 == 0 ? a : b) + i / 2 * block + k * run; };
    const std::int16_t* members = plan.cycles + 1;
    for (std::int32_t length = members[-1]; length > 0; length = members[-1]) {
        double held[2 * blocks][width];
        for (int i = 0; i < 2 * blocks; ++i) std::memcpy(held[i], at(i, members[0]), sizeof held[i]);
        for (std::int32_t m = 1; m < length; ++m)
            for (int i = 0; i < 2 * blocks; ++i) std::memcpy(at(i, members[m - 1]), at(i, members[m]), sizeof held[i]);
        for (int i = 0; i < 2 * blocks; ++i) std::memcpy(at(i, members[length - 1]), held[i], sizeof held[i]);
        members += length + 1;
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
