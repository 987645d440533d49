// FFT: each mode is what MIXRFFT makes when it is told the same in words; refusals.

#include "tests/spectral/spectral_support.h"
#include "tests/support/covered.h"

namespace libzepl {
namespace {

const Covers covers("FFT");

// Each mode's inputs, what it is in words, and its outputs.
constexpr std::tuple<int, const char*, const char*, std::size_t> modes[] = {
    {0, "x", "FORWARD, x, FULL, PARTS", 2},       {1, "x, y", "FORWARD, x, y, FULL, PARTS", 2},
    {2, "x, y", "REVERSE, x, y, FULL, PARTS", 1}, {3, "x, y", "REVERSE, x, y, FULL, PARTS", 2},
    {4, "x", "FORWARD, x, HALF, POWER", 1},       {5, "x", "FORWARD, x, HALF, MAGNITUDE", 1},
    {6, "x", "FORWARD, x, HALF, POLAR", 2},       {7, "x", "FORWARD, x, HALF, POWER", 1},
};

template <class Element, class Output>
void expectSameAsWords(std::size_t row) {
    const auto& [mode, sources, words, count] = modes[row];
    std::string outputs = ", " + typed<Output>("out0");
    if (count == 2) outputs += ", " + typed<Output>("out1");
    const std::vector<Input> inputs{{"x", randomSamples<Element>(37, 3)}, {"y", randomSamples<Element>(37, 4)}};
    const Call numbered("FFT (" + std::to_string(mode) + ", 4, 0, " + sources + outputs + ")", inputs);
    const Call told(std::string("MIXRFFT (16, ") + words + outputs + ")", inputs);
    for (const char* out : {"out0", "out1"}) {
        if (outputs.find(out) == std::string::npos) continue;
        EXPECT_EQ(numbered.template taken<Output>(out).size(), mode > 3 ? 16U : 32U) << mode;
        EXPECT_EQ(bitsOf(numbered.template taken<Output>(out)), bitsOf(told.template taken<Output>(out)))
            << mode << outputs;
    }
}

TEST(FftModes, EachModeIsWhatMixrfftMakesInWords) {
    for (std::size_t row = 0; row < std::size(modes); ++row) {
        if (row == 4 || row == 7)
            expectSameAsWords<std::int16_t, std::int32_t>(row);
        else
            expectSameAsWords<std::int16_t, std::int16_t>(row);
        expectSameAsWords<std::int32_t, std::int32_t>(row);
        expectSameAsWords<float, float>(row);
        expectSameAsWords<double, double>(row);
    }
}

TEST(FftModes, AnUnsupportedModeIsReportedWithItsSubstitute) {
    EXPECT_EQ(Call("FFT (7, 4, 0, int16, int32)").report.console,
              Lines{"*** WARNING *** Unsupported FFT mode, substituting mode 4"});
    EXPECT_EQ(Call("FFT (4, 4, 0, int16, int32)").report.console, Lines{});
}

TEST(FftWindows, EachCodeIsItsWindow) {
    const char* const names[] = {"RECTANGULAR", "VONHANN", "HAMMING", "BARTLETT", "BLACKMAN"};
    const Doubles samples = randomSamples<double>(64, 4);
    for (int code = 0; code < 5; ++code) {
        Doubles weights;
        for (std::size_t i = 0; i < 32; ++i) weights.push_back(weightOf(names[code], false, i, 32));
        for (const std::string mode :
             {"FFT (1, 5, ", "FFT (3, 5, "})  // the window of samples in time, in both directions
            EXPECT_EQ(bitsOf(partsOf(mode + std::to_string(code) + ", x, y, re:double, im:double)",
                                     {{"x", samples}, {"y", samples}})
                                 .re),
                      bitsOf(partsOf(mode + "w, x, y, re:double, im:double)",
                                     {{"[w]", weights}, {"x", samples}, {"y", samples}})
                                 .re))
                << mode << names[code];
    }
}

TEST(FftSizes, TheLengthIsTwoToTheExponent) {
    for (const std::size_t exponent : {4U, 5U, 10U, 14U}) {
        const Call call("FFT (5, " + std::to_string(exponent) + ", 0, in, out:double)", {{"in", Doubles(40000, 1.0)}});
        const std::size_t length = std::size_t{1} << exponent;
        const Doubles magnitudes = call.taken<double>();
        ASSERT_EQ(magnitudes.size(), 40000 / length * (length / 2));
        for (std::size_t i = 0; i < magnitudes.size(); ++i) ASSERT_NEAR(magnitudes[i], i % (length / 2) == 0, 1e-12);
    }
}

TEST(FftParameters, ListsAreRefusedAtTheFirstMistake) {
    expectRefused({"FFT (5, 3, 0, double, double)", "FFT (5, 15, 0, double, double)", "FFT (8, 3, 5, double, double)"},
                  5, 2);
    expectRefused({"FFT (5, 4, 5, double, double)", "FFT (5, 4, -1, double, double)", "FFT (8, 4, 5, double, double)"},
                  6, 3);
    expectRefused({"FFT (5, 5, " + zeros(16) + ", double, double)"}, 1, 3);
    expectRefused({"FFT (8, 4, 0, double, double)", "FFT (-1, 4, 0, double, double)"}, 6, 1);
    expectRefused({"FFT (0, 4, 0, double, double)", "FFT (2, 4, 0, double, double)", "FFT (6, 4, 0, double, double)"},
                  8, 6);
    expectRefused({"FFT (0, 4, 0, double, double, double, double)", "FFT (2, 4, 0, double, double, double, double)"}, 9,
                  7);
    expectRefused({"FFT (1, 4, 0, double, double, double)", "FFT (3, 4, 0, double, double, double)"}, 8, 7);
    expectRefused({"FFT (4, 4, 0, double, double, double)", "FFT (5, 4, 0, double, double, double)",
                   "FFT (7, 4, 0, double, double, double)"},
                  9, 6);
    expectRefused({"FFT (0, 4, 0, double, float, float)", "FFT (1, 4, 0, double, float, double, float)",
                   "FFT (5, 4, 0, int16, int32)", "FFT (4, 4, 0, int32, int16)", "FFT (4, 4, 0, float, double)"},
                  3, 5);
    expectRefused({"FFT (0, 4, 0, double, double, float)", "FFT (2, 4, 0, int16, int16, int32)",
                   "FFT (6, 4, 0, int16, int16, int32)"},
                  3, 6);
    expectRefused({"FFT (3, 4, 0, double, double, double, int16)"}, 3, 7);
    expectRefused({"FFT (4, 4, 0, int16, int16)", "FFT (7, 4, 0, int16, int16)"}, 10, 5);
}

}  // namespace
}  // namespace libzepl
