// BIRAMP against its plain definition.

#include <cmath>

#include "tests/support/covered.h"
#include "tests/support/given.h"
#include "tests/support/samples.h"

namespace libzepl {
namespace {

const Covers covers("BIRAMP");

// From `phase`, in samples of the cycle.
std::vector<double> plainRamp(double a, double b, int first, int second, double phase, std::size_t n) {
    const int cycle = first + second, pass = cycle <= 4096 ? 4096 / cycle * cycle : 0;
    const double knee = 2 * (1.0 * first / cycle) - 1, start = 2 * (phase / cycle) - 1;
    std::vector<double> samples;
    double p = start;
    for (std::size_t i = 0; i < n; ++i) {
        if (pass != 0 && i % static_cast<std::size_t>(pass) == 0) p = start;
        const double w = p <= knee ? 2 * (p + 1) / (knee + 1) - 1 : 2 * (p - 1) / (knee - 1) - 1;
        samples.push_back(w * ((b - a) * 0.5) + (b + a) * 0.5);
        p += 2.0 / cycle;
        if (p >= 1) p -= 2;
    }
    return samples;
}

struct Row {
    const char* list;
    double a, b;
    int first, second;
    double phase = 0;
};

TEST(Biramp, ASampleDiffersFromThePlainDefinition) {
    for (const Row& row :
         {Row{"-1.5 2.5 1 1", -1.5, 2.5, 1, 1}, Row{"-1.5 2.5 3 1", -1.5, 2.5, 3, 1}, Row{"9.0 -7.0 1 2l", 9, -7, 1, 2},
          Row{"0.0 0.3 100l 57", 0, 0.3, 100, 57}, Row{"0.0 1.0 4095 1", 0, 1, 4095, 1},
          Row{"0.0 1.0 4096 1", 0, 1, 4096, 1}, Row{"0.0 1.0 1 99999l", 0, 1, 1, 99999},
          Row{"0.0 1.0 7 3 -1.0", 0, 1, 7, 3, 9}, Row{"0.0 1.0 7 3 10.0f", 0, 1, 7, 3, 10},
          Row{"0.0 1.0 7 3 2.5", 0, 1, 7, 3, 2.5}, Row{"0.0 1.0 7 3 -0.0", 0, 1, 7, 3}}) {
        EXPECT_TRUE(bitsOf(generated<double>("BIRAMP", row.list, 12500)) ==
                    bitsOf(plainRamp(row.a, row.b, row.first, row.second, row.phase, 12500)))
            << row.list;
    }
}

TEST(Biramp, AnIntegerIsNotRoundedToTheNearestOrNoNumberIsOne) {
    EXPECT_EQ(generated<std::int32_t>("BIRAMP", "-2 3 2 3l", 6), (std::vector<std::int32_t>{-2, 0, 3, 1, 0, -2}));
    EXPECT_EQ(generated<std::int16_t>("BIRAMP", "0 1 4000 97 0.0", 1), std::vector<std::int16_t>{-32768});
    for (const double x : generated<double>("BIRAMP", "0.0 1.0 4000 97 0.0", 5000)) ASSERT_TRUE(std::isnan(x));
}

TEST(Biramp, AMistakeIsToldAtAnotherPositionOrPasses) {
    expectSetUps(
        "BIRAMP",
        "refused at 5: 1 2 3 4; 3 at 2: 1 2l 0 0 i16; 5 at 3: 1 2 0 0 i32; 5 at 4: 1 2 1 0 f32; "
        "5 at 4: 1 2 2147483647l 1 i16; ready: 1 2 2147483646l 1 i16; ready: 1 2 3 4 -7.0 i16; "
        "ready: 1 2 3 4 i32; 10 at 5: 1 2 3 4 f32 f32; 10 at 5: 1 2 3 4 0.0; 5 at 5: 1 2 3 4 7.01 f32; "
        "5 at 5: 1 2 3 4 -7.01f i16; 5 at 5: 1 2 3 4 nan i16; 5 at 5: 1 2 4000 97 0.1 i16; 3 at 5: 1 2 3 4 f32; "
        "3 at 5: 1.0 2.0 3 4 f32; 3 at 6: 1l 2l 3 4 0.0 i16");
}

}  // namespace
}  // namespace libzepl
