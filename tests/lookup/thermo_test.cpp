// THERMO at the points of its curves, between them, and at the edges of its arithmetic.

#include <algorithm>

#include "lookup/thermocouple_types.h"
#include "tests/support/covered.h"
#include "tests/support/samples.h"
#include "tests/support/session_support.h"

namespace libzepl {
namespace {

const Covers covers("THERMO");

using Samples = std::vector<std::int16_t>;

struct Given {
    TaskArgument type = textConstant("K");
    std::int16_t mul = 1, div = 1;
    std::optional<std::int16_t> offset{}, cjc{};
};

Samples afterThermo(const Given& given, const Samples& source) {
    TestSession session;
    const PipeId from = session.input("from", source), to = session.output("to", {}, ElementType::int16);
    TaskSettings task{.command = "THERMO",
                      .arguments = {session.use(from), given.type, int16Constant(given.mul), int16Constant(given.div)}};
    const auto add = [&](const char* name, const std::optional<std::int16_t>& value) {
        if (value) task.arguments.push_back(session.use(session.addVariable(name, ElementType::int16, &*value)));
    };
    add("offset", given.offset);
    task.arguments.push_back(session.use(to));
    add("cjc", given.cjc);
    session.addTask(std::move(task));
    EXPECT_EQ(session.run().status, Report::Status::ok);
    return session.collected<std::int16_t>(to);
}

// Straight lines between the points, in double, truncated toward the lower point.
std::int32_t between(const std::int16_t* keys, const std::int16_t* values, std::int32_t key) {
    if (key <= keys[0]) return values[0];
    if (key >= keys[39]) return values[39];
    const auto high = std::upper_bound(keys, keys + 40, key) - keys, low = high - 1;
    return values[low] + static_cast<std::int32_t>(static_cast<double>(values[high] - values[low]) * (key - keys[low]) /
                                                   (keys[high] - keys[low]));
}

TEST(Thermo, AReadingDiffersFromItsCurve) {
    const Samples all = edgeSamples<std::int16_t>();
    for (int index = 0; index < 10; ++index) {
        const zcmds::ThermocoupleType& type = zcmds::thermocoupleTypes[index];
        Samples expected;
        for (const std::int16_t x : all)
            expected.push_back(static_cast<std::int16_t>(between(type.voltageTable, type.temperatureTable, x)));
        EXPECT_EQ(afterThermo({.type = textConstant(type.letter)}, all), expected) << type.letter;
        EXPECT_EQ(afterThermo({.type = int16Constant(static_cast<std::int16_t>(index))}, all), expected) << index;
    }
}

// Curves are known by heart: the zero of all but B, and what a hundred degrees more give.
TEST(Thermo, ATableIsAnothers) {
    const std::map<std::string, Samples> curves{
        {"E", {0, -2700, 10000}}, {"J", {0, -2100, 12000}}, {"K", {0, -2700, 13700}}, {"T", {0, -2700, 4009}},
        {"N", {0, -2630, 13000}}, {"U", {0, -2000, 6000}},  {"L", {0, -2000, 9000}},  {"B", {0, 0, 17580}}};
    for (const auto& [letter, expected] : curves)
        EXPECT_EQ(afterThermo({.type = textConstant(letter)}, {0, -30000, 30000}), expected) << letter;
    for (const auto& type : zcmds::thermocoupleTypes) {
        EXPECT_TRUE(std::is_sorted(type.voltageTable, type.voltageTable + 40)) << type.letter;
        EXPECT_TRUE(std::is_sorted(type.temperatureTable, type.temperatureTable + 40)) << type.letter;
    }
}

TEST(Thermo, TheColdJunctionsTemperatureDoesNotComeBack) {
    // One hundredth of a millivolt is up to 20 tenths of a degree; B tells nothing of so low a temperature.
    for (const auto& type : zcmds::thermocoupleTypes) {
        if (*type.letter == 'B') continue;
        for (std::int16_t junction = 100; junction <= 300; ++junction)
            EXPECT_NEAR(afterThermo({.type = textConstant(type.letter), .cjc = junction}, {0}).at(0), junction, 20)
                << type.letter;
    }
    EXPECT_EQ(afterThermo({.cjc = 250}, {0}), Samples{250});
}

TEST(Thermo, WrapOrSaturationIsInAnotherPlace) {
    struct Case {
        Given given;
        std::int16_t reading, expected;
    };
    for (const Case& c :
         {Case{{}, 1118, 2750},
          // The reading less its offset wraps to -1.
          Case{{.mul = 1015, .offset = -32768}, 32767, -2700}, Case{{.mul = -1015, .offset = -32768}, 32767, 2500},
          // The scaled voltage saturates, so stays above the table; its sum with the junction's wraps.
          Case{{.mul = 32767}, 32767, 13700}, Case{{.mul = 32767, .cjc = 250}, 32767, -2700},
          Case{{.mul = 1, .div = -1}, -1015, 2500},
          // -1019 / 10 truncates to -101, not to -102.
          Case{{.mul = 1, .div = 10}, -1019, -262}}) {
        EXPECT_EQ(afterThermo(c.given, {c.reading}).at(0), c.expected) << c.reading << " by " << c.given.mul;
    }
}

TEST(Thermo, AVoltageIsNotTheQuotientTowardZero) {
    const Samples all = edgeSamples<std::int16_t>();
    const zcmds::ThermocoupleType& type = zcmds::thermocoupleTypes[0];
    constexpr std::pair<std::int16_t, std::int16_t> factors[] = {
        {1, 3}, {-7, 4}, {-32768, 32767}, {32767, -32767}, {1000, -8}, {-5, 4096}, {-32768, -1}, {-32768, 2}};
    for (const auto& [mul, div] : factors) {
        Samples expected;
        for (const std::int16_t x : all)
            expected.push_back(
                static_cast<std::int16_t>(between(type.voltageTable, type.temperatureTable, x * mul / div)));
        EXPECT_EQ(afterThermo({.type = textConstant("E"), .mul = mul, .div = div}, all), expected) << mul << '/' << div;
    }
}

TEST(ThermoErrors, AnotherCodeOrPositionIsTold) {
    enum : char { pipe = 'p', variable = 'v' };
    struct Case {
        TaskArgument type;
        std::int16_t div;
        std::string rest;  // the kinds from position 5 on
        const char* state;
    };
    const TaskArgument k = textConstant("K");
    for (const Case& c :
         {Case{int16Constant(-1), 1, "p", "error code 6 at 2"}, Case{int16Constant(10), 1, "p", "error code 6 at 2"},
          Case{textConstant("k"), 1, "p", "error code 6 at 2"}, Case{textConstant("KK"), 0, "v", "error code 6 at 2"},
          Case{textConstant(""), 1, "p", "error code 6 at 2"}, Case{k, 0, "v", "error code 6 at 4"},
          Case{k, -32768, "p", "error code 6 at 4"}, Case{k, 1, "v", "error code 10 at 5"},
          Case{k, 1, "pp", "error code 10 at 6"}, Case{k, 1, "vv", "error code 10 at 6"},
          Case{k, 1, "ppv", "error code 10 at 5"}, Case{k, 1, "vvv", "error code 10 at 6"}, Case{k, 1, "pv", "waiting"},
          Case{k, 1, "vp", "waiting"}, Case{k, 1, "vpv", "waiting"}}) {
        TestSession session;
        const std::int16_t zero = 0;
        TaskSettings task{.command = "THERMO",
                          .arguments = {session.use(session.input("from", Samples{1})), c.type, int16Constant(1),
                                        int16Constant(c.div)}};
        for (const char kind : c.rest) {
            const std::string name = "n" + std::to_string(task.arguments.size());
            task.arguments.push_back(kind == pipe ? session.use(session.output(name, {}, ElementType::int16))
                                                  : session.use(session.addVariable(name, ElementType::int16, &zero)));
        }
        session.addTask(std::move(task));
        EXPECT_EQ(statesOf(session.run()).at(0), c.state) << c.type.text << " " << c.rest;
    }
}

}  // namespace
}  // namespace libzepl
