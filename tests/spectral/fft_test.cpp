// FFT: each mode is what MIXRFFT makes when it is told the same in words; refusals.

#include "tests/spectral/spectral_support.h"
#include "tests/support/covered.h"

namespace libzepl {
namespace {

const Covers covers("FFT");

// Each mode's inputs and outputs, and what it is in words; `>` is of the type that the output must have.
constexpr std::tuple<int, const char*, const char*, const char*> modes[] = {
    {0, "*", "FORWARD * FULL PARTS", "> >"},   {1, "* *", "FORWARD * * FULL PARTS", "> >"},
    {2, "* *", "REVERSE * * FULL PARTS", ">"}, {3, "* *", "REVERSE * * FULL PARTS", "> >"},
    {4, "*", "FORWARD * HALF POWER", ">"},     {5, "*", "FORWARD * HALF MAGNITUDE", ">"},
    {6, "*", "FORWARD * HALF POLAR", "> >"},   {7, "*", "FORWARD * HALF POWER", ">"},
};

template <class Element, class Output>
void expectSameAsWords(std::size_t row, const std::string& type) {
    const auto& [mode, inputs, words, outputs] = modes[row];
    std::string typed;
    for (const char* at = outputs; *at != '\0'; ++at) typed += *at == '>' ? ">" + type : " ";
    const std::vector<Given> given{randomSamples<Element>(37, 3), randomSamples<Element>(37, 4)};
    const OneTask numbered("FFT", std::to_string(mode) + " 4 0 " + inputs + " " + typed, given);
    const OneTask told("MIXRFFT", std::string("16 ") + words + " " + typed, given);
    for (std::size_t i = 0; i <= std::string(outputs).size() / 2; ++i) {
        EXPECT_EQ(numbered.taken<Output>(i).size(), mode > 3 ? 16U : 32U) << mode;
        EXPECT_EQ(bitsOf(numbered.taken<Output>(i)), bitsOf(told.taken<Output>(i))) << mode << type;
    }
}

TEST(FftModes, OneDiffersFromItsWords) {
    for (std::size_t row = 0; row < std::size(modes); ++row) {
        if (row == 4 || row == 7)
            expectSameAsWords<std::int16_t, std::int32_t>(row, "32");
        else
            expectSameAsWords<std::int16_t, std::int16_t>(row, "16");
        expectSameAsWords<std::int32_t, std::int32_t>(row, "32");
        expectSameAsWords<float, float>(row, "f");
        expectSameAsWords<double, double>(row, "d");
    }
}

TEST(FftModes, TheSubstituteIsNotTold) {
    EXPECT_EQ(OneTask("FFT", "7 4 0 *16 >32").console,
              Lines{"*** WARNING *** Unsupported FFT mode, substituting mode 4"});
    EXPECT_EQ(OneTask("FFT", "4 4 0 *16 >32").console, Lines{});
}

TEST(FftWindows, ACodeStandsForAnotherWindow) {
    const char* const names[] = {"RECTANGULAR", "VONHANN", "HAMMING", "BARTLETT", "BLACKMAN"};
    const Doubles samples = randomSamples<double>(64, 4);
    for (int code = 0; code < 5; ++code) {
        Doubles weights;
        for (std::size_t i = 0; i < 32; ++i) weights.push_back(weightOf(names[code], false, i, 32));
        for (const std::string mode : {"1 5 ", "3 5 "})  // the window of samples in time, in both directions
            EXPECT_EQ(
                bitsOf(OneTask("FFT", mode + std::to_string(code) + " * * >d >d", {samples, samples}).taken<double>()),
                bitsOf(OneTask("FFT", mode + "v * * >d >d", {weights, samples, samples}).taken<double>()))
                << mode << names[code];
    }
}

TEST(FftSizes, AnExponentGivesAnotherLength) {
    for (const std::size_t exponent : {4U, 5U, 10U, 14U}) {
        const OneTask task("FFT", "5 " + std::to_string(exponent) + " 0 * >d", {Doubles(40000, 1.0)});
        const std::size_t length = std::size_t{1} << exponent;
        const Doubles magnitudes = task.taken<double>();
        ASSERT_EQ(magnitudes.size(), 40000 / length * (length / 2));
        for (std::size_t i = 0; i < magnitudes.size(); ++i) ASSERT_NEAR(magnitudes[i], i % (length / 2) == 0, 1e-12);
    }
}

TEST(FftParameters, AFaultIsBlamedOnAnotherPlace) {
    expectErrors("FFT", {
                            {"5 at 2", "5 3 0 *d >d; 5 15 0 *d >d; 8 3 5 *d >d"},
                            {"6 at 3", "5 4 5 *d >d; 5 4 -1 *d >d; 8 4 5 *d >d"},
                            {"1 at 3", "5 5 v16 *d >d"},
                            {"6 at 1", "8 4 0 *d >d; -1 4 0 *d >d"},
                            {"8 at 6", "0 4 0 *d >d; 2 4 0 *d >d; 6 4 0 *d >d"},
                            {"9 at 7", "0 4 0 *d >d >d >d; 2 4 0 *d *d >d >d"},
                            {"8 at 7", "1 4 0 *d *d >d; 3 4 0 *d *d >d"},
                            {"9 at 6", "4 4 0 *d >d >d; 5 4 0 *d >d >d; 7 4 0 *d >d >d"},
                            {"3 at 5", "0 4 0 *d >f >f; 1 4 0 *d *f >d >f; 5 4 0 *16 >32; 4 4 0 *32 >16; 4 4 0 *f >d"},
                            {"3 at 6", "0 4 0 *d >d >f; 2 4 0 *16 *16 >32; 6 4 0 *16 >16 >32"},
                            {"3 at 7", "3 4 0 *d *d >d >16"},
                            {"10 at 5", "4 4 0 *16 >16; 7 4 0 *16 >16"},
                        });
}

}  // namespace
}  // namespace libzepl
