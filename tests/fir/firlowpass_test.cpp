// FIRLOWPASS by what comes out of it: its taps as the answers to impulses, and steps and tones.

#include <complex>
#include <numbers>

#include "tests/fir/fir_support.h"
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
    TestSession session({.feed = wholeFeed});
    return filtered<Element>(session, "FIRLOWPASS", x, {int16Constant(nchans), int16Constant(decim)});
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

TEST_P(FirlowpassPrototype, ATapIsNotAsPromised) {
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

TEST_P(FirlowpassPrototype, AFrequencyPassesOrIsStoppedOtherwise) {
    const std::vector<double> taps = tapsOf<double>(GetParam());
    const double nyquist = 0.5 / GetParam(), passes = GetParam() == 1 ? 0.58 : 0.35,
                 stops = GetParam() == 1 ? 0.84 : 0.75;
    for (int i = 0; i <= 500; ++i) {
        EXPECT_NEAR(magnitude(taps, i / 500.0 * passes * nyquist), 1, 0.0024) << i;
        EXPECT_LT(magnitude(taps, stops * nyquist + i / 500.0 * (0.5 - stops * nyquist)), 8e-6) << i;
    }
}

// The channels at even places: a tone within the pass band comes out as it is, and one that decimation alone would fold
// does not come out.
TEST_P(FirlowpassPrototype, AToneIsWeakenedDelayedOrFolded) {
    const auto tone = [&](double part, std::size_t i) {
        return 20000 * std::cos(part * std::numbers::pi / GetParam() * static_cast<double>(i));
    };
    std::vector<std::int16_t> x;
    for (std::size_t i = 0; i < 600; ++i)
        for (const double part : {0.3, 1.0, 0.9, 1.0})
            x.push_back(static_cast<std::int16_t>(std::lrint(tone(part, i))));
    const auto step = static_cast<std::size_t>(GetParam());
    const std::vector<std::int16_t> y = lowpassed(x, GetParam(), 4);
    ASSERT_GT(y.size() / 4 * step, 400U);
    for (std::size_t j = 160 / step + 1; 4 * j < y.size(); ++j) {
        EXPECT_NEAR(y[4 * j], tone(0.3, j * step), 20000 * 0.0024 + 1) << j;
        // Without decimation 0.9 is in the stop band too.
        EXPECT_NEAR(y[4 * j + 2], 0, 1) << j;
    }
}

TEST(Firlowpass, AStepIsDelayedOrDoesNotSettle) {
    for (const auto decim : std::initializer_list<std::int16_t>{1, 2, 12}) {
        std::vector<std::int32_t> x(480);
        std::fill(x.begin() + 156, x.end(), 1000000);
        const std::vector<std::int32_t> y = lowpassed(x, decim);
        // At the step the centre and one half of the others meet it.
        EXPECT_NEAR(y[156 / static_cast<std::size_t>(decim)], 500000 * (1 + prototypes[decim - 1].centre), 5) << decim;
        EXPECT_NEAR(y.back(), 1000000, 5) << decim;
        EXPECT_NEAR(y[0], 0, 1) << decim;
    }
}

std::string outcome(TestSession& session, std::vector<TaskArgument> given, ElementType to = ElementType::int16) {
    given.insert(given.begin(), session.use(session.pipe("from", {}, ElementType::int16)));
    given.push_back(session.use(session.pipe("to", {}, to)));
    session.addTask({.command = "FIRLOWPASS", .arguments = std::move(given)});
    return statesOf(session.run())[0];
}

TEST(FirlowpassParameters, AMistakePassesOrAnotherPlaceIsBlamed) {
    const auto c = int16Constant;
    const struct {
        std::string outcome;
        std::vector<TaskArgument> given;
        ElementType to = ElementType::int16;
    } cases[] = {
        {"running", {c(1)}},
        {"running", {c(32), c(12)}},
        {"error code 5 at 3", {c(33), c(13)}, ElementType::int32},
        {"error code 5 at 3", {c(0), c(1)}},
        {"error code 5 at 2", {c(0)}, ElementType::int32},
        {"error code 5 at 2", {c(13)}},
        {"error code 5 at 2", {c(1), c(13)}, ElementType::int32},
        {"error code 3 at 3", {c(1)}, ElementType::int32},
        {"error code 3 at 4", {c(1), c(1)}, ElementType::float32},
        {"refused at 2", {int32Constant(1)}},
    };
    for (const auto& [expected, given, to] : cases) {
        TestSession session;
        EXPECT_EQ(outcome(session, given, to), expected) << given.size();
    }
    TestSession pipeForDecim, destinationForgotten;
    EXPECT_EQ(outcome(pipeForDecim, {c(1), pipeForDecim.use(pipeForDecim.pipe("p", {}, ElementType::int16))}),
              "error code 10 at 3");
    const PipeId from = destinationForgotten.pipe("from");
    destinationForgotten.task("FIRLOWPASS", from, c(1), c(1));
    EXPECT_EQ(statesOf(destinationForgotten.run())[0], "error code 3 at 3");
}

}  // namespace
}  // namespace libzepl
