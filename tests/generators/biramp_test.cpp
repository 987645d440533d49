// BIRAMP against its plain definition.

#include <cmath>

#include "tests/support/call.h"
#include "tests/support/covered.h"
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
    const char* call;
    double a, b;
    int first, second;
    double phase = 0;
};

TEST(Biramp, SamplesAreThePlainDefinition) {
    for (const Row& row :
         {Row{"BIRAMP (-1.5, 2.5, 1, 1, out)", -1.5, 2.5, 1, 1}, Row{"BIRAMP (-1.5, 2.5, 3, 1, out)", -1.5, 2.5, 3, 1},
          Row{"BIRAMP (9.0, -7.0, 1, 2:int32, out)", 9, -7, 1, 2},
          Row{"BIRAMP (0.0, 0.3, 100:int32, 57, out)", 0, 0.3, 100, 57},
          Row{"BIRAMP (0.0, 1.0, 4095, 1, out)", 0, 1, 4095, 1}, Row{"BIRAMP (0.0, 1.0, 4096, 1, out)", 0, 1, 4096, 1},
          Row{"BIRAMP (0.0, 1.0, 1, 99999:int32, out)", 0, 1, 1, 99999},
          Row{"BIRAMP (0.0, 1.0, 7, 3, -1.0, out)", 0, 1, 7, 3, 9},
          Row{"BIRAMP (0.0, 1.0, 7, 3, 10.0:float, out)", 0, 1, 7, 3, 10},
          Row{"BIRAMP (0.0, 1.0, 7, 3, 2.5, out)", 0, 1, 7, 3, 2.5},
          Row{"BIRAMP (0.0, 1.0, 7, 3, -0.0, out)", 0, 1, 7, 3}}) {
        EXPECT_TRUE(bitsOf(generated<double>(row.call, 12500)) ==
                    bitsOf(plainRamp(row.a, row.b, row.first, row.second, row.phase, 12500)))
            << row.call;
    }
}

TEST(Biramp, IntegersAreRoundedToTheNearest) {
    EXPECT_EQ(generated<std::int32_t>("BIRAMP (-2, 3, 2, 3:int32, out)", 6),
              (std::vector<std::int32_t>{-2, 0, 3, 1, 0, -2}));
    EXPECT_EQ(generated<std::int16_t>("BIRAMP (0, 1, 4000, 97, 0.0, out)", 1), std::vector<std::int16_t>{-32768});
    for (const double x : generated<double>("BIRAMP (0.0, 1.0, 4000, 97, 0.0, out)", 5000)) ASSERT_TRUE(std::isnan(x));
}

TEST(Biramp, ListsAreRefusedAtTheFirstMistake) {
    expectRefused({"BIRAMP (1, 2, 3, 4)"}, 0, 5);
    expectRefused({"BIRAMP (1, 2:int32, 0, 0, int16)"}, 3, 2);
    expectRefused({"BIRAMP (1, 2, 0, 0, int32)"}, 5, 3);
    expectRefused({"BIRAMP (1, 2, 1, 0, float)", "BIRAMP (1, 2, 2147483647:int32, 1, int16)"}, 5, 4);
    expectReady({"BIRAMP (1, 2, 2147483646:int32, 1, int16)", "BIRAMP (1, 2, 3, 4, -7.0, int16)",
                 "BIRAMP (1, 2, 3, 4, int32)"});
    expectRefused({"BIRAMP (1, 2, 3, 4, float, float)", "BIRAMP (1, 2, 3, 4, 0.0)"}, 10, 5);
    expectRefused({"BIRAMP (1, 2, 3, 4, 7.01, float)", "BIRAMP (1, 2, 3, 4, -7.01:float, int16)",
                   "BIRAMP (1, 2, 3, 4, nan, int16)", "BIRAMP (1, 2, 4000, 97, 0.1, int16)"},
                  5, 5);
    expectRefused({"BIRAMP (1, 2, 3, 4, float)", "BIRAMP (1.0, 2.0, 3, 4, float)"}, 3, 5);
    expectRefused({"BIRAMP (1:int32, 2:int32, 3, 4, 0.0, int16)"}, 3, 6);
}

}  // namespace
}  // namespace libzepl
