#include "arith/angle.h"

#include <algorithm>
#include <cstdlib>

#include "arith/angle_table.h"
#include "frame/approximation.h"
#include "frame/vector_clones.h"

namespace zcmds {

namespace {

constexpr std::int32_t halfTurn = 0x7fffffff, quarterTurn = 0x3fffffff;

// The angle in the upper half plane: `height` is the absolute value of the imaginary part, not 0, nor is `re`.
std::int32_t upperAngle(std::int64_t height, std::int64_t re) {
    const std::int64_t width = std::abs(re);
    const std::int64_t tangent = std::min(height, width) * halfTurn / std::max(height, width);
    const std::int32_t t = valueAt<octantAngles>(tangent);
    if (height > width) return re > 0 ? quarterTurn - t : quarterTurn + t;
    return re > 0 ? t : halfTurn - t;
}

ZCMDS_VECTOR_CLONES void widen(const float* re, const float* im, double* x, double* y, std::int32_t n) {
    for (std::int32_t i = 0; i < n; ++i) {
        x[i] = re[i];
        y[i] = im[i];
    }
}

ZCMDS_VECTOR_CLONES void narrow(const double* from, float* to, std::int32_t n) {
    for (std::int32_t i = 0; i < n; ++i) to[i] = static_cast<float>(from[i]);
}

// Of a piece.
void hostsAngles(const float* re, const float* im, float* angles, std::int32_t n) {
    double x[mathematicsPiece], y[mathematicsPiece];
    widen(re, im, x, y, n);
    mathematics.atan2Array(y, x, y, n);
    narrow(y, angles, n);
}

}  // namespace

std::int32_t fixedAngle(std::int32_t im, std::int32_t re) {
    if (im == 0) return re < 0 ? halfTurn : 0;
    if (re == 0) return im > 0 ? quarterTurn : -quarterTurn;
    const std::int32_t upper = upperAngle(std::abs(std::int64_t{im}), re);
    return im > 0 ? upper : -upper;
}

// In double, and rounded once.
void anglesOf(const float* re, const float* im, float* angles, std::int32_t n) {
    inPieces(n, [=](std::int32_t start, std::int32_t count) {
        const float *x = re + start, *y = im + start;
        float results[mathematicsPiece];
        if (!storeApproximations(
                results, count, [=](std::int32_t i) { return angleAround(y[i], x[i]); },
                [](double angle, std::int32_t) { return static_cast<float>(angle); }))
            hostsAngles(x, y, results, count);
        std::copy_n(results, count, angles + start);
    });
}

}  // namespace zcmds
