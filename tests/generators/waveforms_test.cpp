// The periodic waveforms against their plain definition, sample by sample, in all modes and types.

#include <cmath>
#include <numbers>

#include "host/mathematics.h"
#include "tests/support/arrivals.h"
#include "tests/support/call.h"
#include "tests/support/covered.h"
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
        std::string call = command + " (" + parameters + ", " + typed<Element>("out");
        std::vector<Input> inputs;
        const auto modulate = [&](const std::string& word, const std::vector<Element>& samples) {
            if (samples.empty()) return;
            call += ", \"" + word + "\", " + word;
            inputs.emplace_back(word, samples);
        };
        modulate("FREQUENCY", frequencies);
        modulate("AMPLITUDE", amplitudes);
        const Call made(call + ")", inputs, {.feed = feed}, n);
        EXPECT_EQ(made.report.status, Report::Status::ok) << call;
        return bitsOf(made.taken<Element>());
    }
};

template <class Element>
class Waveform : public testing::Test {};
TYPED_TEST_SUITE(Waveform, Elements);

TYPED_TEST(Waveform, SamplesAreThePlainDefinition) {
    std::vector<Wave<TypeParam>> waves{
        {"", "1000, 1", 1000, 0, 1, 4096},
        {"", "2.5, 2", 2.5, 0, 2, 4096},
        {"", "0:int32, 40000:int32, 1000.0, 500.0", 20000, 20000, 2, 4096},
        {"", "3e9:float, 2", 3e9, 0, 2, 4096},
        {"", "9.5, 100.5", 9.5, 0, 100.5, 4020},
        {"", "7.7:float, 4096.0:float", 7.7F, 0, 4096, 4096},
        {"", "1000, 4096.000000000004", 1000, 0, 4096.000000000004, 4096},
        {"", "1000, 4096.000000000006", 1000, 0, 4096.000000000006, 0},
        {"", "20000:int32, 5000", 20000, 0, 5000, 0},
        {"", "1e9, 3.14159265358979", 1e9, 0, 3.14159265358979, 0},
        {"", "1000, -500, 4.0:float, 1000.0:float", -750, 250, 250, 4000},
        {"", "2147483647:int32, -2147483648:int32, 3.0, -1.0, 1000.0", -2147483647.5, -0.5, 1000.0 / 3, 4000, -1},
        {"", "-3.5:float, 3.5:float, 3.0, 1.0:float, 125.0:float", 3.5, 0, 8000.0 / 3, 0, 1},
        {"", "5, 5, 3.0, -0.3, 1000.0", 0, 5, 1000.0 / 3, 4000, -0.3},
    };
    for (Wave<TypeParam>& wave : waves)
        for (const char* command : {"COSINEWAVE", "SAWTOOTH", "SINEWAVE", "SQUAREWAVE", "TRIANGLE"}) {
            wave.command = command;
            EXPECT_TRUE(wave.given({}, 12500) == wave.plain(12500)) << command << " " << wave.parameters;
        }
}

TYPED_TEST(Waveform, ModulatedSamplesAreThePlainDefinition) {
    const std::vector<TypeParam> a = randomSamples<TypeParam>(4500, 1), f = randomSamples<TypeParam>(4400, 2);
    const std::vector<Wave<TypeParam>> waves{
        {"COSINEWAVE", "9.5, 100.5", 9.5, 0, 100.5, 4020, 0, a},
        {"SAWTOOTH", "-20, 10, 3.0, 0.5, 1000.0", 15, -5, 1000.0 / 3, 4000, 0.5, a},
        {"SINEWAVE", "2e4, 5000", 2e4, 0, 5000, 0, 0, a},
        {"SINEWAVE", "1000, 9", 1000, 0, 9, 0, 0, {}, f},
        {"TRIANGLE", "1000, 9", 1000, 0, 9, 0, 0, a, f},
        {"SQUAREWAVE", "1000, 3.14159", 1000, 0, 3.14159, 0, 0, f, a},
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
TEST(WaveformEdges, AWiderModulatorIsReadAtTheWidthOfTheOutput) {
    const Call call("SQUAREWAVE (40000, 4096, out:int16, \"AMPLITUDE\", m)",
                    {{"m", std::vector<std::int32_t>{0x7fff0001, 0x00027fff, 9, 9}}},
                    {.feed = {.kind = FeedPolicy::Kind::whole}});
    EXPECT_EQ(call.taken<std::int16_t>(), (std::vector<std::int16_t>{1, -25536, -25536, 2}));
}

TEST(WaveformParameters, ListsAreRefusedAtTheFirstMistake) {
    expectRefused({"TRIANGLE ()"}, 0, 1);
    expectRefused({"TRIANGLE (1, 8)"}, 0, 3);
    expectRefused({"TRIANGLE (1, 8, int16, int16, int16)"}, 0, 4);
    expectRefused({"TRIANGLE (-1, 0.5, int16, \"AMPLITUDE\")"}, 8, 4);
    expectRefused({"TRIANGLE (1, 8, int16, \"AMPLITUDE\", int16, \"FREQUENCY\")"}, 8, 6);
    expectRefused({"TRIANGLE (-0.1, 0.5, int16)"}, 6, 1);
    expectRefused({"TRIANGLE (0, 0.999:float, int16)"}, 5, 2);
    expectReady({"TRIANGLE (0, 1:int32, double)", "TRIANGLE (2, 1, 1000.0, 1000.0, int16)",
                 "TRIANGLE (2, 1, 1e12, 5e-7, int16, \"AMPLITUDE\", int16)", "TRIANGLE (nan, nan, float)",
                 "TRIANGLE (2, 1, 1.0, 0.0, 1.0, int16, \"AMPLITUDE\", int16, \"FREQUENCY\", int16)",
                 "TRIANGLE (1, 8, float, \"AMPLITUDE\", double, \"FREQUENCY\", int32)"});
    expectRefused({"TRIANGLE (1, 2, 3.0, 4.0)"}, 0, 5);
    expectRefused({"TRIANGLE (1, 1:int32, 0.0, 0.0, int16)", "TRIANGLE (1:int32, 1, 0.0, 0.0, int16)"}, 3, 2);
    expectRefused({"TRIANGLE (2, 1, 0.0, 0.0, int16)", "TRIANGLE (2, 1, nan, 1.0, int16)",
                   "TRIANGLE (2, 1, 1000.1, 1000.0, int16)"},
                  5, 3);
    expectRefused({"TRIANGLE (2, 1, 1.0, 4e-7, int16)", "TRIANGLE (2, 1, 1.0, 1.01, 0.0, int16)",
                   "TRIANGLE (2, 1, 1.0, nan, 1.0, int16)"},
                  5, 4);
    expectRefused({"TRIANGLE (2, 1, 1.0, -1.0, 4e-7, int16)", "TRIANGLE (1, 8, int32, \"AMPLITUDE\", int16)"}, 5, 5);
    expectRefused({"TRIANGLE (2, 1, 1.0, 1.0, int16, \"AMPLITUDE\")",
                   "TRIANGLE (2, 1, 1.0, 1.0, int16, \"AMPLITUDE\", \"AMPLITUDE\")"},
                  10, 6);
    expectRefused({"TRIANGLE (2, 1, 1.0, 0.0, 1.0)"}, 10, 5);
    expectRefused({"TRIANGLE (2, 1, 1.0, 1.0, int16, \"AMPLITUDE\", int16, int16, int16)"}, 10, 8);
    expectRefused({"TRIANGLE (2, 1, 1.0, 1.0, int16, \"AMPLITUDE\", int16, \"AMPLITUDE\", \"AMPLITUDE\")"}, 10, 9);
    expectRefused({"TRIANGLE (2, 1, 1.0, 0.0, 1.0, int16, \"AMPLITUDE\", \"AMPLITUDE\")"}, 10, 7);
    expectRefused({"TRIANGLE (1, 8, int16, \"AMPLITUDE\", int16, \"AMPLITUDE\", int16)",
                   "TRIANGLE (1, 8, int16, \"loud\", int16, \"loud\", int16)"},
                  9, 6);
    expectRefused({"TRIANGLE (1, 8, int16, \"amplitude\", int16)"}, 7, 4);
    expectRefused({"TRIANGLE (1, 8, int16, \"amplitude\", int16, \"FREQUENCY\", int16)",
                   "TRIANGLE (1, 8, int16, \"AMPLITUDE\", int16, \"Frequency\", int16)"},
                  7, 6);
    expectRefused({"TRIANGLE (1, 8, double, \"AMPLITUDE\", double, \"FREQUENCY\", float)"}, 5, 7);
}

}  // namespace
}  // namespace libzepl
