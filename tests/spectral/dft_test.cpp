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
void expectRecurrences(int mode, const std::vector<std::int32_t>& terms, const std::vector<float>& window,
                       const std::vector<Element>& samples) {
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
    std::string text = "DFT (" + std::to_string(mode) + ", " + std::to_string(n) + ", w, k, in, " + typed<First>("out");
    if (mode % 6 == 0) text += ", " + typed<Element>("out2");
    const Call call(text + ")", {{"[w]", window}, {"[k]", terms}, {"in", samples}});
    ASSERT_FALSE(first.empty());
    EXPECT_EQ(bitsOf(call.template taken<First>()), bitsOf(first)) << text << " " << terms.size();
    if (mode % 6 == 0) {
        EXPECT_EQ(bitsOf(call.template taken<Element>("out2")), bitsOf(second)) << text << " " << terms.size();
    }
}

// Over the full range, so that int16 results wrap and int32 ones overflow where the window is above 1.
template <class Element, class Power>
void expectEachMode() {
    for (const std::size_t termCount : {1U, 3U, 8U, 9U, 16U, 17U, 33U, 64U, 67U, 200U}) {
        std::vector<std::int32_t> terms;
        for (std::size_t i = 0; i < termCount; ++i) terms.push_back(static_cast<std::int32_t>(i * i % 301));
        std::vector<float> window = randomSamples<float>(301, 1);
        for (float& weight : window) weight /= 1e5F;
        const std::vector<Element> samples = randomSamples<Element>(700, 2);
        expectRecurrences<Element>(0, terms, window, samples);
        expectRecurrences<Power>(4, terms, window, samples);
        expectRecurrences<Element>(5, terms, window, samples);
        expectRecurrences<Element>(6, terms, window, samples);
    }
}

TEST(Dft, EachTermIsItsRecurrence) {
    expectEachMode<std::int16_t, std::int32_t>();
    expectEachMode<std::int32_t, std::int32_t>();
    expectEachMode<float, float>();
    expectEachMode<double, double>();
}

// An impulse of 1 at term 0 gives the window's entry.
TEST(DftWindows, EachEntryIsItsCodesOrItsVectors) {
    const std::size_t n = 45;
    const auto responseTo = [&](const std::string& window, std::size_t at, std::vector<Input> inputs) {
        Doubles impulse(n);
        impulse[at] = 1;
        inputs.emplace_back("in", impulse);
        const Call call("DFT (0, 45, " + window + ", [0]:int16, in, re:double, im:double)", inputs);
        return call.taken<double>("re").at(0) * static_cast<double>(n);
    };
    const char* const names[] = {"RECTANGULAR", "BARTLETT", "VONHANN", "HAMMING", "BLACKMAN"};
    const auto doubles = randomSamples<double>(n, 3);
    const auto shorts = randomSamples<std::int16_t>(n, 4);
    const auto longs = randomSamples<std::int32_t>(n, 5);
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t code = 0; code < 5; ++code)
            EXPECT_NEAR(responseTo(std::to_string(code), i, {}), weightOf(names[code], false, i, n), 1e-7)
                << names[code] << i;
        EXPECT_NEAR(responseTo("w", i, {{"[w]", doubles}}), static_cast<float>(doubles[i]), 1e-9) << i;
        EXPECT_NEAR(responseTo("w", i, {{"[w]", shorts}}), shorts[i], 1e-9) << i;
        EXPECT_NEAR(responseTo("w", i, {{"[w]", longs}}), static_cast<float>(longs[i]), 1e-4) << i;
    }
}

TEST(Dft, TheLengthSquaredWraps) {
    const std::vector<float> ones(65537, 1.0F);
    const auto power = [&](const std::string& n) {
        return Call("DFT (4, " + n + ", 0, [0]:int16, in, out:float)", {{"in", ones}}).taken<float>().at(0);
    };
    EXPECT_NEAR(power("65535"), 1, 1e-5);
    EXPECT_EQ(power("65536"), INFINITY);
    EXPECT_NEAR(power("65537"), 65537.0 * 65537 / 131073, 1);
}

TEST(DftParameters, ListsAreRefusedAtTheFirstMistake) {
    expectRefused({"DFT (1, 0, 9, [9]:int32, double, double)"}, 5, 2);
    expectRefused({"DFT (1, 4, 9, [9]:int32, double, double)", "DFT (7, 4, 9, [9]:int32, double, double)",
                   "DFT (-1, 4, 9, [9]:int32, double, double)"},
                  6, 1);
    expectRefused({"DFT (0, 4, 9, [9]:int32, double, float)", "DFT (6, 4, 9, [9]:int32, double, float)"}, 8, 7);
    expectRefused({"DFT (4, 4, 9, [9]:int32, int16, int16, int16)", "DFT (5, 4, 9, [9]:int32, double, float, float)"},
                  9, 7);
    expectRefused({"DFT (0, 4, 9, [9]:int32, double, float, float)", "DFT (4, 4, 9, [9]:int32, int16, int16)",
                   "DFT (4, 4, 9, [9]:int32, int32, int16)", "DFT (5, 4, 9, [9]:int32, int16, int32)"},
                  3, 6);
    expectRefused({"DFT (6, 4, 9, [9]:int32, double, double, float)"}, 3, 7);
    expectRefused({"DFT (5, 4, 9, [4]:int32, double, double)", "DFT (5, 4, 9, [-1]:int32, double, double)"}, 5, 4);
    expectRefused({"DFT (5, 4, 5, [3]:int32, double, double)", "DFT (5, 4, -1, [3]:int32, double, double)"}, 7, 3);
    expectRefused({"DFT (5, 4, [0, 0, 0, 0, 0]:double, [3]:int32, double, double)",
                   "DFT (5, -1, [0, 0, 0, 0, 0]:double, [3]:int32, double, double)"},
                  1, 3);
    EXPECT_EQ(Call("DFT (5, 4, 0, [4]:int32, double, double)").report.console,
              Lines{"*** Warning: DFT index 4 exceeds block size"});
    expectReady({"DFT (4, 70000, " + zeros(70000) + ", [69999]:int32, int16, int32)"});
}

}  // namespace
}  // namespace libzepl
