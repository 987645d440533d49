// FIRLOWPASS: its taps as the answers to impulses, and that it filters with them.

#include <complex>
#include <numbers>

#include "tests/fir/fir_support.h"
#include "tests/support/call.h"
#include "tests/support/covered.h"

namespace libzepl {
namespace {

const Covers covers("FIRLOWPASS");

struct Prototype {
    std::size_t taps;
    double centre, first;
};
constexpr Prototype prototypes[] = {
    {39, 0.682498040709295, 1.232076631e-06},
    {53, 0.25555583366524, 2.184453801e-05},
    {79, 0.16957990003142, 1.10227e-05},
    {105, 0.1271831961059895, 8.266487627086488e-06},
    {129, 0.1011461093378276, 7.069672599971786e-06},
    {155, 0.08429968372115453, 6.26441235057725e-06},
    {181, 0.07226329587840315, 5.723492937877277e-06},
    {207, 0.0633283334769732, 5.525606303915875e-06},
    {233, 0.05629333748460898, 5.222410263342617e-06},
    {259, 0.050664981531802, 4.989988343644666e-06},
    {283, 0.04597879108051486, 5.019988021136344e-06},
    {309, 0.04215688135742333, 4.863389595427877e-06},
};

template <class Element>
std::vector<Element> lowpassed(const std::vector<Element>& x, std::int16_t decim, std::int16_t nchans = 1) {
    return resultOf<Element>("FIRLOWPASS " + list("in", nchans, decim, "out"), x, {.feed = wholeFeed});
}

// Coefficients by their distance from the centre, from -200 to 200: an impulse at each of the frames between two outputs
// tells every decim-th of them. The second of two channels stays silent.
template <class Element>
std::vector<Element> tapsOf(std::int16_t decim) {
    constexpr std::size_t reach = 200, middle = 400;
    std::vector<Element> taps(2 * reach + 1);
    for (std::size_t impulse = middle; impulse < middle + static_cast<std::size_t>(decim); ++impulse) {
        std::vector<Element> x(2 * (middle + 2 * reach));
        x[2 * impulse] = 1;
        const std::vector<Element> y = lowpassed(x, decim, 2);
        for (std::size_t j = 0; 2 * j < y.size(); ++j) {
            const std::size_t at = impulse + reach - j * static_cast<std::size_t>(decim);
            if (at < taps.size()) taps[at] = y[2 * j];
        }
    }
    return taps;
}

double magnitude(const std::vector<double>& taps, double frequency) {
    std::complex<double> sum = 0;
    for (std::size_t k = 0; k < taps.size(); ++k)
        sum += std::polar(taps[k], 2 * std::numbers::pi * frequency * static_cast<double>(k));
    return std::abs(sum);
}

class FirlowpassPrototype : public testing::TestWithParam<std::int16_t> {};
INSTANTIATE_TEST_SUITE_P(Decimations, FirlowpassPrototype, testing::Range<std::int16_t>(1, 13));

TEST_P(FirlowpassPrototype, TapsAreSymmetricAndSumToOne) {
    const Prototype& promised = prototypes[GetParam() - 1];
    const std::size_t half = promised.taps / 2;
    const std::vector<double> taps = tapsOf<double>(GetParam());
    const std::vector<float> singles = tapsOf<float>(GetParam());
    EXPECT_EQ(taps[200], promised.centre);
    EXPECT_EQ(taps[200 - half], promised.first);
    double sum = 0;
    for (std::size_t k = 0; k < taps.size(); ++k) {
        EXPECT_EQ(taps[k], taps[400 - k]) << k;
        EXPECT_EQ(singles[k], static_cast<float>(taps[k])) << k;
        EXPECT_EQ(taps[k] != 0, k >= 200 - half && k <= 200 + half) << k;
        sum += taps[k];
    }
    EXPECT_NEAR(sum, 1, 4e-6);
}

TEST_P(FirlowpassPrototype, PassesLowFrequenciesAndStopsHighOnes) {
    const std::vector<double> taps = tapsOf<double>(GetParam());
    const double nyquist = 0.5 / GetParam(), passes = GetParam() == 1 ? 0.58 : 0.35,
                 stops = GetParam() == 1 ? 0.84 : 0.75;
    for (int i = 0; i <= 500; ++i) {
        EXPECT_NEAR(magnitude(taps, i / 500.0 * passes * nyquist), 1, 0.0024) << i;
        EXPECT_LT(magnitude(taps, stops * nyquist + i / 500.0 * (0.5 - stops * nyquist)), 8e-6) << i;
    }
}

template <class Element, class Coefficient>
void expectFiltered(const std::vector<double>& coefficients, std::int16_t decim) {
    Filter<Coefficient> filter{{}, 3, decim, -1};
    for (const double tap : coefficients)
        if (tap != 0) filter.taps.push_back(static_cast<Coefficient>(tap));
    const auto x = randomSamples<Element>(3 * 2000, 1);
    EXPECT_EQ(bitsOf(lowpassed(x, decim, 3)), bitsOf(filteredBy<Element>(filter, x)));
}

TEST_P(FirlowpassPrototype, FiltersAsFirfilterDoesWithItsTaps) {
    const std::vector<double> taps = tapsOf<double>(GetParam());
    expectFiltered<std::int16_t, float>(taps, GetParam());
    expectFiltered<std::int32_t, double>(taps, GetParam());
    expectFiltered<float, float>(taps, GetParam());
    expectFiltered<double, double>(taps, GetParam());
}

TEST(FirlowpassParameters, ListsAreRefusedAtTheFirstMistake) {
    expectReady({"FIRLOWPASS (int16, 1, int16)", "FIRLOWPASS (int16, 32, 12, int16)"});
    expectRefused({"FIRLOWPASS (int16, 33, 13, int32)", "FIRLOWPASS (int16, 0, 1, int16)"}, 5, 3);
    expectRefused({"FIRLOWPASS (int16, 0, int32)", "FIRLOWPASS (int16, 13, int16)", "FIRLOWPASS (int16, 1, 13, int32)"},
                  5, 2);
    expectRefused({"FIRLOWPASS (int16, 1, int32)", "FIRLOWPASS (int32, 1, 1)"}, 3, 3);
    expectRefused({"FIRLOWPASS (int16, 1, 1, float)"}, 3, 4);
    expectRefused({"FIRLOWPASS (int16, 1:int32, int16)"}, 0, 2);
    expectRefused({"FIRLOWPASS (int16, 1, int16, int16)"}, 10, 3);
}

}  // namespace
}  // namespace libzepl
