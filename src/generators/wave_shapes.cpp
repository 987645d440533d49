#include "generators/wave_shapes.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "frame/element_loop.h"
#include "frame/mathematics.h"

namespace zcmds {

namespace {

// 2 * p between the corners at -0.5 and 0.5; beyond them 2 * (1 - p) and -2 * (p + 1), which are the smaller in size up to
// the cycle's ends and change their sign after them.
void triangleShape(const WaveState&, double* phases, std::int32_t n) {
    transformBlock(phases, n, [](double p) {
        const double size = std::fabs(p), height = 2.0 * std::min(1.0 - size, size);
        return height * std::copysign(1.0, p);
    });
}

void squareShape(const WaveState&, double* phases, std::int32_t n) {
    transformBlock(phases, n, [](double p) { return p >= 0.0 ? 1.0 : -1.0; });
}

void sineShape(const WaveState&, double* phases, std::int32_t n) {
    transformBlock(phases, n, [](double p) { return std::numbers::pi * p; });
    mathematics.sinArray(phases, phases, n);
}

void cosineShape(const WaveState&, double* phases, std::int32_t n) {
    transformBlock(phases, n, [](double p) { return std::numbers::pi * p; });
    mathematics.cosArray(phases, phases, n);
}

// The jump's middle, where the phase hits it.
void sawtoothShape(const WaveState&, double* phases, std::int32_t n) {
    transformBlock(phases, n, [](double p) { return p == -1.0 || p == 1.0 ? 0.0 : p; });
}

}  // namespace

WaveFunction* waveFunctionOf(WaveType type) {
    switch (type) {
        case WaveType::triangle:
            return triangleShape;
        case WaveType::square:
            return squareShape;
        case WaveType::sine:
            return sineShape;
        case WaveType::cosine:
            return cosineShape;
        case WaveType::sawtooth:
            return sawtoothShape;
        default:
            return nullptr;
    }
}

}  // namespace zcmds
