// CHIRP against the rule by which it integrates its frequency, to the bit.

#include <cmath>
#include <numbers>

#include "host/mathematics.h"
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
    double (*omega)(double);  // of the way u from the low to the high frequency
};

double linear(double u) { return (1 - u) * low + u * high; }
double quadratic(double u) { return (1 - u * u) * low + u * u * high; }
double logarithmic(double u) { return low * zepl::pow(high / low, u); }

const Law laws[] = {{"LINEAR UNIDIRECTIONAL", false, linear},   {"LIN BIDIRECTIONAL", true, linear},
                    {"QUADRATIC UNIDIR", false, quadratic},     {"QUAD BIDIR", true, quadratic},
                    {"LOGARITHMIC UNIDIR", false, logarithmic}, {"LOG BIDIR", true, logarithmic}};

constexpr int sweep = 4097;  // its last block is one sample

TEST(Chirp, ABitDiffersFromTheRule) {
    for (const Law& law : laws) {
        const auto omega = [&](double n) {
            const double u = (law.outAndBack ? 2 * n : n) / (sweep - 1);
            return law.omega(u > 1 && law.outAndBack ? 2 - u : u);
        };
        std::vector<double> expected{zepl::cos(0.25) * 20000};
        double angle = 0.25;
        for (int n = 1; n < sweep; ++n) {
            angle = angle + (5 * omega(n) + 8 * omega(n - 1) - omega(n - 2)) / 12;
            expected.push_back(zepl::cos(angle) * 20000);
        }
        std::vector<std::int16_t> truncated;
        for (const double x : expected) truncated.push_back(static_cast<std::int16_t>(x));
        EXPECT_EQ(bitsOf(generated<double>("CHIRP", law.words + " 2e4 4097l 100 10l 0.25", sweep)), bitsOf(expected));
        EXPECT_EQ(generated<std::int16_t>("CHIRP", law.words + " 20000 4097 100l 10 0.25f", sweep), truncated);
    }
}

TEST(Chirp, ASweepIsNotRepeatedWhole) {
    for (const std::size_t length : {1U, 2U, 2048U, 2049U, 4097U}) {
        const std::string list = "LOG UNIDIR 30000 " + std::to_string(length) + " 10 100 0.5";
        const std::vector<std::int32_t> samples = generated<std::int32_t>("CHIRP", list, 3 * length);
        EXPECT_EQ(samples[0], static_cast<std::int32_t>(zepl::cos(0.5) * 30000));
        for (std::size_t n = length; n < samples.size(); ++n) ASSERT_EQ(samples[n], samples[n - length]) << length;
    }
}

TEST(Chirp, AMistakeIsToldAtAnotherPositionOrPasses) {
    expectSetUps(
        "CHIRP",
        "refused at 8: LIN UNIDIR 1 2 3 4 0.0; 3 at 3: lin unidir 1.0 0 1 1 0.0 i16; "
        "7 at 1: lin unidir 1 0 1 1 0.0 i16; 7 at 2: LIN UNI 1 0 1 1 0.0 i16; 5 at 4: LIN UNIDIR 1 0 1 1 0.0 i16; "
        "5 at 4: LIN UNIDIR 1 -5l 1 1 0.0 i32; 5 at 5: LIN UNIDIR 1.0f 1 1 1 0.0 f32; "
        "5 at 6: LIN UNIDIR 1 1 2 1l 0.0 i16; ready: LIN UNIDIR 1 1 2 2 nan i16");
}

}  // namespace
}  // namespace libzepl
