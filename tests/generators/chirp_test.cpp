// CHIRP against the integral of its frequency in closed form, and to the bit against the rule that it integrates by.

#include <cmath>
#include <functional>
#include <numbers>

#include "tests/support/covered.h"
#include "tests/support/given.h"
#include "tests/support/samples.h"

namespace libzepl {
namespace {

const Covers covers("CHIRP");

constexpr double low = 2 * std::numbers::pi / 100, high = 2 * std::numbers::pi / 10;

struct Law {
    std::string words;
    bool outAndBack;
    std::function<double(double)> omega;  // of the way u from the low to the high frequency
    std::function<double(double)> area;   // its integral from 0
    double tolerance;                     // radians, over the whole sweep
};

double linear(double u) { return (1 - u) * low + u * high; }
double linearArea(double u) { return low * u + (high - low) * u * u / 2; }
double quadratic(double u) { return (1 - u * u) * low + u * u * high; }
double quadraticArea(double u) { return low * u + (high - low) * u * u * u / 3; }
double logarithmic(double u) { return low * std::pow(high / low, u); }
double logarithmicArea(double u) { return (logarithmic(u) - low) / std::log(high / low); }

// The rule is exact for the first two laws, but for the one step that has the turning point behind it.
const Law laws[] = {
    {"LINEAR UNIDIRECTIONAL", false, linear, linearArea, 1e-10},
    {"LIN BIDIRECTIONAL", true, linear, linearArea, 2e-4},
    {"QUADRATIC UNIDIR", false, quadratic, quadraticArea, 1e-10},
    {"QUAD BIDIR", true, quadratic, quadraticArea, 4e-4},
    {"LOGARITHMIC UNIDIR", false, logarithmic, logarithmicArea, 1e-8},
    {"LOG BIDIR", true, logarithmic, logarithmicArea, 6e-4},
};

constexpr int sweep = 4001;

TEST(Chirp, TheAngleIsNotTheIntegralOfTheFrequency) {
    for (const Law& law : laws) {
        const std::vector<double> samples = generated<double>("CHIRP", law.words + " 1.0 4001 100 10 0.25", sweep);
        const double span = law.outAndBack ? (sweep - 1) / 2.0 : sweep - 1;
        for (int n = 0; n < sweep; ++n) {
            const double u = n / span, area = u <= 1 ? law.area(u) : 2 * law.area(1) - law.area(2 - u);
            const double angle = 0.25 + span * area;
            ASSERT_NEAR(samples[static_cast<std::size_t>(n)], std::cos(angle), law.tolerance) << law.words << " " << n;
        }
    }
}

TEST(Chirp, APureToneIsNotOne) {
    for (const Law& law : laws) {
        const std::vector<double> samples = generated<double>("CHIRP", law.words + " 3.0 5000 40 40 0.0f", 5000);
        for (std::size_t n = 0; n < samples.size(); ++n)
            ASSERT_NEAR(samples[n], 3 * std::cos(std::numbers::pi / 20 * static_cast<double>(n)), 1e-9) << law.words;
    }
}

TEST(Chirp, ABitDiffersFromTheRule) {
    for (const Law& law : laws) {
        const auto omega = [&](double n) {
            const double u = (law.outAndBack ? 2 * n : n) / (sweep - 1);
            return law.omega(u > 1 && law.outAndBack ? 2 - u : u);
        };
        std::vector<double> expected{std::cos(0.25) * 20000};
        double angle = 0.25;
        for (int n = 1; n < sweep; ++n) {
            angle = angle + (5 * omega(n) + 8 * omega(n - 1) - omega(n - 2)) / 12;
            expected.push_back(std::cos(angle) * 20000);
        }
        std::vector<std::int16_t> truncated;
        for (const double x : expected) truncated.push_back(static_cast<std::int16_t>(x));
        EXPECT_EQ(bitsOf(generated<double>("CHIRP", law.words + " 2e4 4001l 100 10l 0.25", sweep)), bitsOf(expected));
        EXPECT_EQ(generated<std::int16_t>("CHIRP", law.words + " 20000 4001 100l 10 0.25f", sweep), truncated);
    }
}

TEST(Chirp, ASweepIsNotRepeatedWhole) {
    for (const std::size_t length : {1U, 2U, 2048U, 2049U, 4097U}) {
        const std::string list = "LOG UNIDIR 100000 " + std::to_string(length) + " 10 100 0.5";
        const std::vector<std::int32_t> samples = generated<std::int32_t>("CHIRP", list, 3 * length);
        EXPECT_EQ(samples[0], static_cast<std::int32_t>(std::cos(0.5) * static_cast<std::int16_t>(100000)));
        for (std::size_t n = length; n < samples.size(); ++n) ASSERT_EQ(samples[n], samples[n - length]) << length;
    }
    EXPECT_EQ(generated<std::int16_t>("CHIRP", "LIN BIDIR 1000 50 9 3 0.0", 1), std::vector<std::int16_t>{1000});
}

TEST(Chirp, AMistakeIsToldAtAnotherPositionOrPasses) {
    const std::vector<std::pair<const char*, const char*>> lists{
        {"LIN UNIDIR 1 2 3 4 0.0", "refused at 8"},
        {"lin unidir 1.0 0 1 1 0.0 i16", "error code 3 at 3"},
        {"lin unidir 1 0 1 1 0.0 i16", "error code 7 at 1"},
        {"LIN UNI 1 0 1 1 0.0 i16", "error code 7 at 2"},
        {"LIN UNIDIR 1 0 1 1 0.0 i16", "error code 5 at 4"},
        {"LIN UNIDIR 1 -5l 1 1 0.0 i32", "error code 5 at 4"},
        {"LIN UNIDIR 1.0f 1 1 1 0.0 f32", "error code 5 at 5"},
        {"LIN UNIDIR 1 1 2 1l 0.0 i16", "error code 5 at 6"},
        {"LIN UNIDIR 1 1 2 2 nan i16", "ready"},
    };
    for (const auto& [list, outcome] : lists) EXPECT_EQ(setUpOf("CHIRP", list), outcome) << list;
}

}  // namespace
}  // namespace libzepl
