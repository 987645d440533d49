// The order of the result: elements whose square digits mirror each other change places, and the core's digits are reversed
// by its table.
#pragma once

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

// The last stage, of factor 4, together with permuteSquares: the columns of a tile are its butterflies.
template <bool reverse>
void lastStageOfTiles(double* a, double* b, const FftPlan& plan, double scale) {
    const std::ptrdiff_t rowLength = plan.spans[1];
    const Radix4<reverse> kernel;
    forEachTilePair(plan, [=](std::int32_t tile, std::int32_t image) {
        const PairAccess from{a + tile, b + tile, rowLength, std::ptrdiff_t{image} - tile};
        Lanes re[4], im[4];
        for (std::ptrdiff_t r = 0; r < 4; ++r) {
            const Points row = from.load(r);
            re[r] = row.re;
            im[r] = row.im;
        }
        transposeHalves(re);
        transposeHalves(im);
        Points x[4] = {{re[0], im[0]}, {re[1], im[1]}, {re[2], im[2]}, {re[3], im[3]}};
        kernel.transform(x);
        const PairAccess to{a + image, b + image, rowLength, std::ptrdiff_t{tile} - image};
        for (std::ptrdiff_t r = 0; r < 4; ++r) to.store(r, {x[r].re * scale, x[r].im * scale});
    });
}

void permuteCore(double* a, double* b, const FftPlan& plan) {
    const std::int32_t* next = plan.permutation;
    const std::int32_t block = plan.spans[plan.squareCount];
    const std::int32_t run = block / plan.freeProducts[0];  // neighbours that stay neighbours
    for (std::int32_t start = 0; start < plan.total; start += block) {
        for (std::int32_t o = start; o < start + run; ++o) {
            for (std::int32_t k = plan.permutationTop; k >= 1; --k) {
                if (next[k] < 0) continue;
                const double re = a[k * run + o], im = b[k * run + o];
                std::int32_t vacant = k;
                for (std::int32_t v = next[k]; v != k; v = -next[v]) {
                    a[vacant * run + o] = a[v * run + o];
                    b[vacant * run + o] = b[v * run + o];
                    vacant = v;
                }
                a[vacant * run + o] = re;
                b[vacant * run + o] = im;
            }
        }
    }
}

}  // namespace

}  // namespace zcmds
