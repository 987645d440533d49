// CHIRP against the rule by which it integrates its frequency, to the bit.

#include <cmath>
#include <numbers>

#include "host/mathematics.h"
#include "tests/support/call.h"
#include "tests/support/covered.h"
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

const Law laws[] = {{R"("LINEAR", "UNIDIRECTIONAL")", false, linear},   {R"("LIN", "BIDIRECTIONAL")", true, linear},
                    {R"("QUADRATIC", "UNIDIR")", false, quadratic},     {R"("QUAD", "BIDIR")", true, quadratic},
                    {R"("LOGARITHMIC", "UNIDIR")", false, logarithmic}, {R"("LOG", "BIDIR")", true, logarithmic}};

constexpr int sweep = 4097;  // its last block is one sample

TEST(Chirp, EachBitFollowsTheRule) {
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
        EXPECT_EQ(
            bitsOf(generated<double>("CHIRP (" + law.words + ", 2e4, 4097:int32, 100, 10:int32, 0.25, out)", sweep)),
            bitsOf(expected));
        EXPECT_EQ(
            generated<std::int16_t>("CHIRP (" + law.words + ", 20000, 4097, 100:int32, 10, 0.25:float, out)", sweep),
            truncated);
    }
}

TEST(Chirp, AFarPhaseIsTheHosts) {
    EXPECT_EQ(generated<float>(R"(CHIRP ("LIN", "UNIDIR", 1:float, 1, 10, 10, -4e9, out))", 1),
              std::vector{static_cast<float>(zepl::cos(-4e9))});
}

TEST(Chirp, SweepsRepeatWhole) {
    for (const std::size_t length : {1U, 2U, 2048U, 2049U, 4097U}) {
        const std::string call = R"(CHIRP ("LOG", "UNIDIR", 30000, )" + std::to_string(length) + ", 10, 100, 0.5, out)";
        const std::vector<std::int32_t> samples = generated<std::int32_t>(call, 3 * length);
        EXPECT_EQ(samples[0], static_cast<std::int32_t>(zepl::cos(0.5) * 30000));
        for (std::size_t n = length; n < samples.size(); ++n) ASSERT_EQ(samples[n], samples[n - length]) << length;
    }
}

TEST(Chirp, ListsAreRefusedAtTheFirstMistake) {
    expectRefused({"CHIRP (\"LIN\", \"UNIDIR\", 1, 2, 3, 4, 0.0)"}, 0, 8);
    expectRefused({"CHIRP (\"lin\", \"unidir\", 1.0, 0, 1, 1, 0.0, int16)"}, 3, 3);
    expectRefused({"CHIRP (\"lin\", \"unidir\", 1, 0, 1, 1, 0.0, int16)"}, 7, 1);
    expectRefused({"CHIRP (\"LIN\", \"UNI\", 1, 0, 1, 1, 0.0, int16)"}, 7, 2);
    expectRefused({"CHIRP (\"LIN\", \"UNIDIR\", 1, 0, 1, 1, 0.0, int16)",
                   "CHIRP (\"LIN\", \"UNIDIR\", 1, -5:int32, 1, 1, 0.0, int32)"},
                  5, 4);
    expectRefused({"CHIRP (\"LIN\", \"UNIDIR\", 1.0:float, 1, 1, 1, 0.0, float)"}, 5, 5);
    expectRefused({"CHIRP (\"LIN\", \"UNIDIR\", 1, 1, 2, 1:int32, 0.0, int16)"}, 5, 6);
    expectReady({"CHIRP (\"LIN\", \"UNIDIR\", 1, 1, 2, 2, nan, int16)"});
}

}  // namespace
}  // namespace libzepl
