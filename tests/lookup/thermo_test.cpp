// THERMO at the points of its curves, between them, and at the edges of its arithmetic.

#include <algorithm>

#include "lookup/thermocouple_types.h"
#include "tests/support/call.h"
#include "tests/support/covered.h"
#include "tests/support/samples.h"

namespace libzepl {
namespace {

const Covers covers("THERMO");

using Samples = std::vector<std::int16_t>;

// Of `THERMO (in, "E", 1, 10, [offset,] out [, cjc])`, what stands before and after `out`.
Samples afterThermo(const Samples& source, const std::string& before, const std::string& cjc = "") {
    return resultOf<std::int16_t>("THERMO (in, " + before + ", out" + (cjc.empty() ? "" : ", " + cjc) + ")", source);
}

std::string lettered(const std::string& letter) { return '"' + letter + '"'; }
std::string variable(int value) { return "variable:int16 = " + std::to_string(value); }

// Straight lines between the points, in double, truncated toward the lower point.
std::int32_t between(const std::int16_t* keys, const std::int16_t* values, std::int32_t key) {
    if (key <= keys[0]) return values[0];
    if (key >= keys[39]) return values[39];
    const auto high = std::upper_bound(keys, keys + 40, key) - keys, low = high - 1;
    return values[low] + static_cast<std::int32_t>(static_cast<double>(values[high] - values[low]) * (key - keys[low]) /
                                                   (keys[high] - keys[low]));
}

// What the curve gives for `x * mul / div`, the quotient toward zero.
Samples plainlyConverted(const zcmds::ThermocoupleType& type, const Samples& source, int mul = 1, int div = 1) {
    Samples temperatures;
    for (const std::int16_t x : source)
        temperatures.push_back(
            static_cast<std::int16_t>(between(type.voltageTable, type.temperatureTable, x * mul / div)));
    return temperatures;
}

TEST(Thermo, ReadingsFollowTheirCurve) {
    const Samples all = edgeSamples<std::int16_t>();
    for (int index = 0; index < 10; ++index) {
        const zcmds::ThermocoupleType& type = zcmds::thermocoupleTypes[index];
        for (const std::string& given : {lettered(type.letter), std::to_string(index)})
            EXPECT_EQ(afterThermo(all, given + ", 1, 1"), plainlyConverted(type, all)) << given;
    }
}

// Curves are known by heart: the zero of all but B, and what a hundred degrees more give.
TEST(Thermo, EachLetterHasItsTable) {
    const std::map<std::string, Samples> curves{
        {"E", {0, -2700, 10000}}, {"J", {0, -2100, 12000}}, {"K", {0, -2700, 13700}}, {"T", {0, -2700, 4009}},
        {"N", {0, -2630, 13000}}, {"U", {0, -2000, 6000}},  {"L", {0, -2000, 9000}},  {"B", {0, 0, 17580}}};
    for (const auto& [letter, expected] : curves)
        EXPECT_EQ(afterThermo({0, -30000, 30000}, lettered(letter) + ", 1, 1"), expected) << letter;
    for (const auto& type : zcmds::thermocoupleTypes) {
        EXPECT_TRUE(std::is_sorted(type.voltageTable, type.voltageTable + 40)) << type.letter;
        EXPECT_TRUE(std::is_sorted(type.temperatureTable, type.temperatureTable + 40)) << type.letter;
    }
}

TEST(Thermo, ZeroVoltsGiveTheColdJunctionsTemperature) {
    // One hundredth of a millivolt is up to 20 tenths of a degree; B tells nothing of so low a temperature.
    for (const auto& type : zcmds::thermocoupleTypes) {
        if (*type.letter == 'B') continue;
        for (int junction = 100; junction <= 300; ++junction)
            EXPECT_NEAR(afterThermo({0}, lettered(type.letter) + ", 1, 1", variable(junction)).at(0), junction, 20)
                << type.letter;
    }
    EXPECT_EQ(afterThermo({0}, "\"K\", 1, 1", variable(250)), Samples{250});
}

TEST(Thermo, ReadingsWrapAndVoltagesSaturate) {
    struct Case {
        std::string before, cjc;
        std::int16_t reading, expected;
    };
    for (const Case& c :
         {// The reading less its offset wraps to -1.
          Case{"\"K\", 1015, 1, " + variable(-32768), "", 32767, -2700},
          Case{"\"K\", -1015, 1, " + variable(-32768), "", 32767, 2500},
          // The scaled voltage saturates, so stays above the table; its sum with the junction's wraps.
          Case{"\"K\", 32767, 1", "", 32767, 13700}, Case{"\"K\", 32767, 1", variable(250), 32767, -2700},
          Case{"\"K\", 1, 1, " + variable(118), variable(250), 1136, 2750}}) {
        EXPECT_EQ(afterThermo({c.reading}, c.before, c.cjc).at(0), c.expected) << c.reading << " by " << c.before;
    }
}

TEST(Thermo, AVoltageIsTheQuotientTowardZero) {
    const Samples all = edgeSamples<std::int16_t>();
    for (const auto& [mul, div] : {std::pair(1, 3),
                                   {-7, 4},
                                   {-32768, 32767},
                                   {32767, -32767},
                                   {1000, -8},
                                   {-5, 4096},
                                   {-32768, -1},
                                   {-32768, 2},
                                   {1, 10}})
        EXPECT_EQ(afterThermo(all, "\"E\", " + std::to_string(mul) + ", " + std::to_string(div)),
                  plainlyConverted(zcmds::thermocoupleTypes[0], all, mul, div))
            << mul << '/' << div;
}

TEST(ThermoErrors, ListsAreRefusedAtTheFirstMistake) {
    expectRefused({"THERMO (int16, -1, 1, 1, int16)", "THERMO (int16, 10, 1, 1, int16)",
                   "THERMO (int16, \"k\", 1, 1, int16)", "THERMO (int16, \"KK\", 1, 0, variable:int16)"},
                  6, 2);
    expectRefused({"THERMO (int16, \"K\", 1, 0, variable:int16)", "THERMO (int16, \"K\", 1, -32768, int16)"}, 6, 4);
    expectRefused(
        {"THERMO (int16, \"K\", 1, 1, variable:int16)", "THERMO (int16, \"K\", 1, 1, int16, int16, variable:int16)"},
        10, 5);
    expectRefused(
        {"THERMO (int16, \"K\", 1, 1, int16, int16)", "THERMO (int16, \"K\", 1, 1, variable:int16, variable:int16)",
         "THERMO (int16, \"K\", 1, 1, variable:int16, variable:int16, variable:int16)"},
        10, 6);
    expectReady({"THERMO (int16, \"K\", 1, 1, int16, variable:int16)",
                 "THERMO (int16, \"K\", 1, 1, variable:int16, int16)",
                 "THERMO (int16, \"K\", 1, 1, variable:int16, int16, variable:int16)"});
}

}  // namespace
}  // namespace libzepl
