#include "generators/wave_shapes.h"

#include <numbers>

#include "frame/element_loop.h"
#include "frame/mathematics.h"

namespace zcmds {

namespace {

void triangleShape(const WaveState&, double* phases, std::int32_t n) {
    // All three lines are computed for each phase, so that a choice between values is all that is left to do.
    transformBlock(phases, n, [](double p) {
        const double rising = 2.0 * p, fallingTo = 2.0 * (1.0 - p), fallingFrom = -2.0 * (p + 1.0);
        const double below = p <= -0.5 ? fallingFrom : rising;
        return p >= 0.5 ? fallingTo : below;
    });
}

void squareShape(const WaveState&, double* phases, std::int32_t n) {
    transformBlock(phases, n, [](double p) { return p >= 0.0 ? 1.0 : -1.0; });
}

void sineShape(const WaveState&, double* phases, std::int32_t n) {
    for (std::int32_t i = 0; i < n; ++i) phases[i] = mathematics.sin(std::numbers::pi * phases[i]);
}

void cosineShape(const WaveState&, double* phases, std::int32_t n) {
    for (std::int32_t i = 0; i < n; ++i) phases[i] = mathematics.cos(std::numbers::pi * phases[i]);
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
