// DFT against its recurrences run one after the other, bit for bit.

#include "host/mathematics.h"
#include "tests/spectral/spectral_support.h"
#include "tests/support/covered.h"

namespace libzepl {
namespace {

const Covers covers("DFT");

template <class Element>
Element truncated(double x) {
    if (!std::is_integral_v<Element>) return static_cast<Element>(x);
    const bool fits = x > -2147483649.0 && x < 2147483648.0;
    return static_cast<Element>(fits ? static_cast<std::int32_t>(x) : std::numeric_limits<std::int32_t>::min());
}

// What each mode makes of a term at the end of a block, to the first and to the second output.
template <class First, class Second>
std::pair<First, Second> resultOf(int mode, double coeff, double sine, double s1, double s2, std::size_t n) {
    const double re = coeff * 0.5 * s1 - s2, im = sine * s1, squares = s2 * s2 + s1 * s1 - s2 * s1 * coeff;
    const auto length = static_cast<double>(n);
    const double turn = std::is_same_v<Second, std::int16_t> ? 10430.060040584269
                        : std::is_integral_v<Second>         ? 683565275.2581217
                                                             : 1;
    if (mode == 0) return {truncated<First>(re / length), truncated<Second>(im / length)};
    if (mode == 4) return {truncated<First>(squares / static_cast<std::uint32_t>(n * n)), Second{}};
    if (mode == 5) return {truncated<First>(std::sqrt(squares) / length), Second{}};
    return {truncated<First>(std::sqrt(re * re + im * im) / length), truncated<Second>(zepl::atan2(im, re) * turn)};
}

template <class First, class Element>
void expectRecurrences(int mode, const std::string& outputs, const std::vector<std::int32_t>& terms,
                       const std::vector<float>& window, const std::vector<Element>& samples) {
    const std::size_t n = window.size();
    std::vector<First> first;
    std::vector<Element> second;
    for (std::size_t at = 0; at + n <= samples.size(); at += n) {
        for (const std::int32_t k : terms) {
            const double theta = k * 6.283185307179586 / static_cast<double>(n), coeff = zepl::cos(theta) * 2;
            double s1 = 0, s2 = 0;
            for (std::size_t i = 0; i < n; ++i) {
                const double v =
                    coeff * s1 + static_cast<double>(window[i]) * static_cast<double>(samples[at + i]) - s2;
                s2 = s1;
                s1 = v;
            }
            const auto result = resultOf<First, Element>(mode, coeff, zepl::sin(theta), s1, s2, n);
            first.push_back(result.first);
            second.push_back(result.second);
        }
    }
    const std::string list = std::to_string(mode) + " " + std::to_string(n) + "l v v * " + outputs;
    const OneTask task("DFT", list, {window, terms, samples});
    ASSERT_FALSE(first.empty());
    EXPECT_EQ(bitsOf(task.taken<First>()), bitsOf(first)) << list << " " << terms.size();
    if (mode % 6 == 0) {
        EXPECT_EQ(bitsOf(task.taken<Element>(1)), bitsOf(second)) << list << " " << terms.size();
    }
}

// Over the full range, so that int16 results wrap and int32 ones overflow where the window is above 1.
template <class Element, class Power>
void expectEachMode(const std::string& type, const std::string& powerType) {
    for (const std::size_t termCount : {1U, 3U, 8U, 9U, 16U, 17U, 33U, 64U, 67U, 200U}) {
        std::vector<std::int32_t> terms;
        for (std::size_t i = 0; i < termCount; ++i) terms.push_back(static_cast<std::int32_t>(i * i % 301));
        std::vector<float> window = randomSamples<float>(301, 1);
        for (float& weight : window) weight /= 1e5F;
        const std::vector<Element> samples = randomSamples<Element>(700, 2);
        const std::string two = ">" + type + " >" + type;
        expectRecurrences<Element>(0, two, terms, window, samples);
        expectRecurrences<Power>(4, ">" + powerType, terms, window, samples);
        expectRecurrences<Element>(5, ">" + type, terms, window, samples);
        expectRecurrences<Element>(6, two, terms, window, samples);
    }
}

TEST(Dft, ATermDiffersFromItsRecurrence) {
    expectEachMode<std::int16_t, std::int32_t>("16", "32");
    expectEachMode<std::int32_t, std::int32_t>("32", "32");
    expectEachMode<float, float>("f", "f");
    expectEachMode<double, double>("d", "d");
}

// An impulse of 1 at term 0 gives the window's entry.
TEST(DftWindows, AnEntryDiffersFromItsCodesOrItsVectors) {
    const std::size_t n = 45;
    const auto responseTo = [&](const std::string& window, std::size_t at, std::vector<Given> given) {
        Doubles impulse(n);
        impulse[at] = 1;
        given.insert(given.end(), {std::vector<std::int16_t>{0}, impulse});
        return OneTask("DFT", "0 45 " + window + " v * >d >d", given).taken<double>(0).at(0) * static_cast<double>(n);
    };
    const char* const names[] = {"RECTANGULAR", "BARTLETT", "VONHANN", "HAMMING", "BLACKMAN"};
    const auto doubles = randomSamples<double>(n, 3);
    const auto shorts = randomSamples<std::int16_t>(n, 4);
    const auto longs = randomSamples<std::int32_t>(n, 5);
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t code = 0; code < 5; ++code)
            EXPECT_NEAR(responseTo(std::to_string(code), i, {}), weightOf(names[code], false, i, n), 1e-7)
                << names[code] << i;
        EXPECT_NEAR(responseTo("v", i, {doubles}), static_cast<float>(doubles[i]), 1e-9) << i;
        EXPECT_NEAR(responseTo("v", i, {shorts}), shorts[i], 1e-9) << i;
        EXPECT_NEAR(responseTo("v", i, {longs}), static_cast<float>(longs[i]), 1e-4) << i;
    }
}

TEST(Dft, TheLengthSquaredDoesNotWrap) {
    const std::vector<float> ones(65537, 1.0F);
    const auto power = [&](const std::string& n) {
        return OneTask("DFT", "4 " + n + " 0 v * >f", {std::vector<std::int16_t>{0}, ones}).taken<float>().at(0);
    };
    EXPECT_NEAR(power("65535"), 1, 1e-5);
    EXPECT_EQ(power("65536"), INFINITY);
    EXPECT_NEAR(power("65537"), 65537.0 * 65537 / 131073, 1);
}

TEST(DftParameters, AFaultIsBlamedOnAnotherPlace) {
    expectErrors("DFT", {
                            {"5 at 2", "1 0 9 k9 *d >d"},
                            {"6 at 1", "1 4 9 k9 *d >d; 7 4 9 k9 *d >d; -1 4 9 k9 *d >d"},
                            {"8 at 7", "0 4 9 k9 *d >f; 6 4 9 k9 *d >f"},
                            {"9 at 7", "4 4 9 k9 *16 >16 >16; 5 4 9 k9 *d >f >f"},
                            {"3 at 6", "0 4 9 k9 *d >f >f; 4 4 9 k9 *16 >16; 4 4 9 k9 *32 >16; 5 4 9 k9 *16 >32"},
                            {"3 at 7", "6 4 9 k9 *d >d >f"},
                            {"5 at 4", "5 4 9 k4 *d >d; 5 4 9 k-1 *d >d"},
                            {"7 at 3", "5 4 5 k3 *d >d; 5 4 -1 k3 *d >d"},
                            {"1 at 3", "5 4 v5 k3 *d >d; 5 -1 v5 k3 *d >d"},
                        });
    EXPECT_EQ(OneTask("DFT", "5 4 0 k4 *d >d").console, Lines{"*** Warning: DFT index 4 exceeds block size"});
    EXPECT_EQ(OneTask("DFT", "4 70000 v70000 k69999 *16 >32").state, "waiting");
}

}  // namespace
}  // namespace libzepl
