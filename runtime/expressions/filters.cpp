#include "runtime/expressions/filters.h"

#include <cmath>
#include <numbers>

#include "host/mathematics.h"

namespace libzepl {

namespace {

using std::numbers::pi;

// The modified Bessel function of the first kind and order 0, by its series: its terms are positive, so no digits cancel.
double bessel(double x) {
    double sum = 1, term = 1;
    for (int k = 1; term > sum * 1e-18; ++k) {
        const double factor = x / (2.0 * k);
        term *= factor * factor;
        sum += term;
    }
    return sum;
}

double kaiserParameter(double attenuation) {
    if (attenuation > 50) return 0.1102 * (attenuation - 8.7);
    if (attenuation > 21) return 0.5842 * zepl::pow(attenuation - 21, 0.4) + 0.07886 * (attenuation - 21);
    return 0;
}

// The impulse response of the ideal low-pass filter, `m` samples from its middle; `edge` is a part of half the sampling rate.
double idealResponse(double edge, double m) {
    const double angle = pi * (edge * m);
    return angle == 0 ? edge : edge * (zepl::sin(angle) / angle);
}

// The bands that pass, as parts of half the sampling rate: pairs of edges.
std::vector<double> passBands(const FilterDesign& design) {
    std::vector<double> bands;
    if (design.passesZero) bands.push_back(0);
    for (double edge : design.edges) bands.push_back(2 * edge);
    if (bands.size() % 2 != 0) bands.push_back(1);
    return bands;
}

}  // namespace

std::vector<double> tapsOf(const FilterDesign& design) {
    const std::vector<double> bands = passBands(design);
    const double middle = 0.5 * static_cast<double>(design.taps - 1);
    const double parameter = kaiserParameter(design.attenuation);
    const double unit = bands[0] == 0 ? 0 : bands[1] == 1 ? 1 : 0.5 * (bands[0] + bands[1]);
    std::vector<double> taps(design.taps);
    double gain = 0;
    for (std::size_t i = 0; i < taps.size(); ++i) {
        const double m = static_cast<double>(i) - middle, part = middle == 0 ? 0 : m / middle;
        for (std::size_t band = 0; band < bands.size(); band += 2)
            taps[i] += idealResponse(bands[band + 1], m) - idealResponse(bands[band], m);
        taps[i] *= bessel(parameter * std::sqrt(1 - part * part)) / bessel(parameter);
        gain += taps[i] * zepl::cos(pi * m * unit);
    }
    for (double& tap : taps) tap /= gain;
    return taps;
}

}  // namespace libzepl
