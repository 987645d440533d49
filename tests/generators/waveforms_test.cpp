// The periodic waveforms against their plain definition, sample by sample, in all modes and types.

#include <cmath>
#include <numbers>

#include "host/mathematics.h"
#include "tests/support/arrivals.h"
#include "tests/support/covered.h"
#include "tests/support/given.h"
#include "tests/support/samples.h"

namespace libzepl {
namespace {

const Covers covers[] = {Covers("COSINEWAVE"), Covers("SAWTOOTH"), Covers("SINEWAVE"), Covers("SQUAREWAVE"),
                         Covers("TRIANGLE")};

double shapeAt(const std::string& command, double p) {
    if (command == "COSINEWAVE") return zepl::cos(std::numbers::pi * p);
    if (command == "SINEWAVE") return zepl::sin(std::numbers::pi * p);
    if (command == "SAWTOOTH") return std::fabs(p) == 1 ? 0 : p;
    if (command == "SQUAREWAVE") return p < 0 ? -1 : 1;
    return p >= 0.5 ? 2 * (1 - p) : p <= -0.5 ? -2 * (p + 1) : 2 * p;
}

template <class Element>
Element rounded(double x) {
    if constexpr (!std::is_integral_v<Element>) return static_cast<Element>(x);
    const double nearest = std::nearbyint(x), limit = -static_cast<double>(std::numeric_limits<Element>::min());
    return static_cast<Element>(nearest >= -limit && nearest < limit ? nearest : -limit);
}

// A wave and its modulators; a modulator without samples is none. Only whole values of modulated tables are compared here.
template <class Element>
struct Wave {
    std::string command, parameters;
    double amplitude, offset, period;
    std::size_t tableLength;  // 0: every sample is computed
    double phase = 0;
    std::vector<Element> amplitudes{}, frequencies{};

    double scaled(double x, Element modulator) const {
        x *= static_cast<double>(modulator);
        return std::is_integral_v<Element> ? x / static_cast<double>(std::numeric_limits<Element>::max()) : x;
    }

    std::vector<BitsOf<Element>> plain(std::size_t n) const {
        std::vector<Element> samples;
        double p = phase;
        for (std::size_t i = 0; i < n; ++i) {
            if (tableLength != 0 && i % tableLength == 0) p = phase;
            double w = shapeAt(command, p) * amplitude;
            if (!amplitudes.empty()) w = scaled(w, amplitudes[i]);
            const bool truncates = !amplitudes.empty() && tableLength != 0;
            samples.push_back(truncates ? static_cast<Element>(w + offset) : rounded<Element>(w + offset));
            p += i < frequencies.size() ? scaled(2 / period, frequencies[i]) : 2 / period;
            if (p >= 1) p -= 2;
        }
        return bitsOf(samples);
    }

    // What the command gives until its modulators end, or `n` samples.
    std::vector<BitsOf<Element>> given(const FeedPolicy& feed, std::optional<std::uint64_t> n = {}) const {
        TestSession session({.feed = feed});
        const PipeId dest = session.output("dest", n, elementTypeOf<Element>());
        std::vector<TaskArgument> arguments = argumentsIn(session, parameters);
        arguments.push_back(session.use(dest));
        const auto modulate = [&](const char* word, const std::vector<Element>& samples) {
            if (samples.empty()) return;
            arguments.push_back(textConstant(word));
            arguments.push_back(session.use(session.input(word, samples)));
        };
        modulate("FREQUENCY", frequencies);
        modulate("AMPLITUDE", amplitudes);
        session.addTask({.command = command, .arguments = arguments});
        EXPECT_EQ(session.run().status, Report::Status::ok) << command << " " << parameters;
        return bitsOf(session.collected<Element>(dest));
    }
};

template <class Element>
class Waveform : public testing::Test {};
using Elements = testing::Types<std::int16_t, std::int32_t, float, double>;
TYPED_TEST_SUITE(Waveform, Elements);

TYPED_TEST(Waveform, ASampleDiffersFromThePlainDefinition) {
    std::vector<Wave<TypeParam>> waves{
        {"", "1000 1", 1000, 0, 1, 4096},
        {"", "2.5 2", 2.5, 0, 2, 4096},
        {"", "0l 40000l 1000.0 500.0", 20000, 20000, 2, 4096},
        {"", "3e9f 2", 3e9, 0, 2, 4096},
        {"", "9.5 100.5", 9.5, 0, 100.5, 4020},
        {"", "7.7f 4096.0f", 7.7F, 0, 4096, 4096},
        {"", "1000 4096.000000000004", 1000, 0, 4096.000000000004, 4096},
        {"", "1000 4096.000000000006", 1000, 0, 4096.000000000006, 0},
        {"", "20000l 5000", 20000, 0, 5000, 0},
        {"", "1e9 3.14159265358979", 1e9, 0, 3.14159265358979, 0},
        {"", "1000 -500 4.0f 1000.0f", -750, 250, 250, 4000},
        {"", "2147483647l -2147483648l 3.0 -1.0 1000.0", -2147483647.5, -0.5, 1000.0 / 3, 4000, -1},
        {"", "-3.5f 3.5f 3.0 1.0f 125.0f", 3.5, 0, 8000.0 / 3, 0, 1},
        {"", "5 5 3.0 -0.3 1000.0", 0, 5, 1000.0 / 3, 4000, -0.3},
    };
    for (Wave<TypeParam>& wave : waves)
        for (const char* command : {"COSINEWAVE", "SAWTOOTH", "SINEWAVE", "SQUAREWAVE", "TRIANGLE"}) {
            wave.command = command;
            EXPECT_TRUE(wave.given({}, 12500) == wave.plain(12500)) << command << " " << wave.parameters;
        }
}

TYPED_TEST(Waveform, AModulatedSampleOrItsPhaseDiffersFromThePlainDefinition) {
    const std::vector<TypeParam> a = randomSamples<TypeParam>(4500, 1), f = randomSamples<TypeParam>(4400, 2);
    const std::vector<Wave<TypeParam>> waves{
        {"COSINEWAVE", "9.5 100.5", 9.5, 0, 100.5, 4020, 0, a},
        {"SAWTOOTH", "-20 10 3.0 0.5 1000.0", 15, -5, 1000.0 / 3, 4000, 0.5, a},
        {"SINEWAVE", "2e4 5000", 2e4, 0, 5000, 0, 0, a},
        {"SINEWAVE", "1000 9", 1000, 0, 9, 0, 0, {}, f},
        {"TRIANGLE", "1000 9", 1000, 0, 9, 0, 0, a, f},
        {"SQUAREWAVE", "1000 3.14159", 1000, 0, 3.14159, 0, 0, f, a},
    };
    for (const Wave<TypeParam>& wave : waves) {
        const auto given = sameForEveryArrival(
            1024, [&](const FeedPolicy& feed) { return wave.given(feed); }, 3);
        // The amplitude is asked for before a sample, the frequency behind it.
        const std::size_t n = wave.amplitudes.empty() ? f.size() + 1 : std::min(wave.amplitudes.size(), f.size() + 1);
        EXPECT_TRUE(given == wave.plain(wave.frequencies.empty() ? a.size() : n)) << wave.command;
    }
}

// Two int16 for one int32 element; and what does not fit keeps its low bits, unlike without a modulator.
TEST(WaveformEdges, AWiderModulatorIsNotReadAtTheWidthOfTheOutput) {
    TestSession session({.feed = {.kind = FeedPolicy::Kind::whole}});
    const PipeId dest = session.output("dest", {}, ElementType::int16);
    const PipeId m = session.input("m", std::vector<std::int32_t>{0x7fff0001, 0x00027fff, 9, 9});
    session.task("SQUAREWAVE", int32Constant(40000), int16Constant(4096), dest, textConstant("AMPLITUDE"), m);
    session.run();
    EXPECT_EQ(session.collected<std::int16_t>(dest), (std::vector<std::int16_t>{1, -25536, -25536, 2}));
}

TEST(WaveformParameters, AMistakeIsToldAtAnotherPositionOrPasses) {
    expectSetUps(
        "TRIANGLE",
        "refused at 1:; refused at 3: 1 8; refused at 4: 1 8 i16 i16 i16; 8 at 4: -1 0.5 i16 AMPLITUDE; "
        "8 at 6: 1 8 i16 AMPLITUDE i16 FREQUENCY; 6 at 1: -0.1 0.5 i16; 5 at 2: 0 0.999f i16; ready: 0 1l f64; "
        "ready: 2 1 1000.0 1000.0 i16; ready: 2 1 1e12 5e-7 i16 AMPLITUDE i16; ready: nan nan f32; "
        "ready: 2 1 1.0 0.0 1.0 i16 AMPLITUDE i16 FREQUENCY i16; ready: 1 8 f32 AMPLITUDE f64 FREQUENCY i32; "
        "refused at 5: 1 2 3.0 4.0; 3 at 2: 1 1l 0.0 0.0 i16; 3 at 2: 1l 1 0.0 0.0 i16; 5 at 3: 2 1 0.0 0.0 i16; 5 at "
        "3: 2 1 nan 1.0 i16; "
        "5 at 3: 2 1 1000.1 1000.0 i16; 5 at 4: 2 1 1.0 4e-7 i16; 5 at 4: 2 1 1.0 1.01 0.0 i16; "
        "5 at 4: 2 1 1.0 nan 1.0 i16; 5 at 5: 2 1 1.0 -1.0 4e-7 i16; 5 at 5: 1 8 i32 AMPLITUDE i16; "
        "10 at 6: 2 1 1.0 1.0 i16 AMPLITUDE; 10 at 6: 2 1 1.0 1.0 i16 AMPLITUDE AMPLITUDE; "
        "10 at 5: 2 1 1.0 0.0 1.0; 10 at 8: 2 1 1.0 1.0 i16 AMPLITUDE i16 i16 i16; "
        "10 at 9: 2 1 1.0 1.0 i16 AMPLITUDE i16 AMPLITUDE AMPLITUDE; "
        "10 at 7: 2 1 1.0 0.0 1.0 i16 AMPLITUDE AMPLITUDE; 9 at 6: 1 8 i16 AMPLITUDE i16 AMPLITUDE i16; "
        "9 at 6: 1 8 i16 loud i16 loud i16; 7 at 4: 1 8 i16 amplitude i16; "
        "7 at 6: 1 8 i16 amplitude i16 FREQUENCY i16; 7 at 6: 1 8 i16 AMPLITUDE i16 Frequency i16; "
        "5 at 7: 1 8 f64 AMPLITUDE f64 FREQUENCY f32");
}

}  // namespace
}  // namespace libzepl
