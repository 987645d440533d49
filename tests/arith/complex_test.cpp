// CMAG against the sum of squares that a magnitude stands for, CANGLE against the arctangent, and to the digit where that
// is told, and POLAR against both.

#include <numbers>

#include "host/mathematics.h"
#include "tests/arith/arith_support.h"

namespace libzepl {
namespace {

const Covers cmag("CMAG"), cangle("CANGLE"), polar("POLAR");

constexpr FeedPolicy atOnce{.kind = FeedPolicy::Kind::whole};

template <class Element>
std::vector<Element> ofPairs(const std::string& command, const std::vector<Element>& re,
                             const std::vector<Element>& im) {
    const Call call(command + " (re, im, " + typed<Element>("out") + ")", {{"re", re}, {"im", im}}, {.feed = atOnce});
    EXPECT_EQ(call.state, "waiting");
    return call.template taken<Element>();
}

// Real and imaginary parts that meet the edges of the type and each other's neighbourhood; finite ones.
template <class Element>
std::pair<std::vector<Element>, std::vector<Element>> pairSamples() {
    std::vector<Element> re = randomSamples<Element>(20000, 21), im = randomSamples<Element>(20000, 22);
    for (std::size_t i = 0; i < re.size() / 2; ++i) {
        if constexpr (std::is_integral_v<Element>) re[i] = static_cast<Element>(re[i] >> (i % 31));
        if (i % 5 == 0) im[i] = re[i];
    }
    const Element edges[] = {least<Element>, static_cast<Element>(least<Element> + 1), -1, 0, 1, 2, 1000};
    for (const Element a : edges)
        for (const Element b : edges) re.push_back(a), im.push_back(b);
    return {re, im};
}

__extension__ using Wide = unsigned __int128;

template <class Element>
void expectMagnitudes() {
    const auto [re, im] = pairSamples<Element>();
    const auto magnitudes = ofPairs("CMAG", re, im);
    ASSERT_EQ(magnitudes.size(), re.size());
    for (std::size_t i = 0; i < re.size(); ++i) {
        const bool tooNegative = re[i] == least<Element> || im[i] == least<Element>;
        const std::int64_t a = re[i], b = im[i], have = magnitudes[i];
        if (tooNegative) {
            ASSERT_EQ(have, sizeof(Element) == 2 ? 32767 : -1);
            continue;
        }
        const Wide square = Wide(a * a) + Wide(b * b), root = Wide(have);
        ASSERT_TRUE(root * root <= square && ((root + 1) * (root + 1) > square || have == most<Element>))
            << have << " of " << a << " " << b;
    }
}

TEST(Cmag, AMagnitudeIsTheIntegerPartOfTheRoot) {
    expectMagnitudes<std::int16_t>();
    expectMagnitudes<std::int32_t>();
}

TEST(Cmag, AMagnitudeOfRealsIsRoundedOnce) {
    const auto [re, im] = pairSamples<float>();
    const auto magnitudes = ofPairs("CMAG", re, im);
    for (std::size_t i = 0; i < re.size(); ++i)
        ASSERT_EQ(magnitudes[i],
                  static_cast<float>(std::sqrt(std::pow(double{re[i]}, 2) + std::pow(double{im[i]}, 2))));
    EXPECT_EQ(ofPairs<double>("CMAG", {1e300, 0.3}, {0, 0.4}),
              std::vector({INFINITY * 1.0, std::sqrt(0.3 * 0.3 + 0.4 * 0.4)}));
}

TEST(CmagPairs, WaitsForAsManyImaginaryPartsAsRealOnes) {
    for (const std::size_t imaginary : {2U, 6U})
        EXPECT_EQ(ofPairs<std::int16_t>("CMAG", {1, 2, 3, 4, 5}, std::vector<std::int16_t>(imaginary)).size(),
                  imaginary < 5 ? 0u : 5u);
}

TEST(Cangle, AnAngleIsNearTheArctangent) {
    const auto [re, im] = pairSamples<std::int32_t>();
    const auto have = ofPairs("CANGLE", re, im);
    ASSERT_EQ(have.size(), re.size());
    for (std::size_t i = 0; i < re.size(); ++i) {
        const double exact = std::atan2(im[i], re[i]) / std::numbers::pi * 0x1p31;
        ASSERT_NEAR(have[i], exact, 2e5) << re[i] << " " << im[i];  // the chord of a 24th
    }
}

TEST(Cangle, AnglesAtTheEdgesAreExact) {
    constexpr std::int32_t low = least<std::int32_t>, half = most<std::int32_t>, quarter = half / 2, t = 28465421;
    // 2^31 is taken as it is, so it is greater than the greatest value.
    const struct {
        std::int32_t re, im, angle;
    } cases[] = {{1, 0, 0},
                 {-1, 0, half},
                 {0, 1, quarter},
                 {0, -1, -quarter},
                 {0, 0, 0},
                 {1, 1, 1 << 29},
                 {-1, 1, half - (1 << 29)},
                 {-1, -1, (1 << 29) - half},
                 {1, -1, -(1 << 29)},
                 {24, 1, t},
                 {1, 24, quarter - t},
                 {-1, 24, quarter + t},
                 {-1, -24, -quarter - t},
                 {1, -24, t - quarter},
                 {low, half, half - 536870911},
                 {low, 1, half},  // the tangent is 0
                 {1, low, -quarter},
                 {low, low, (1 << 29) - half}};
    for (const auto& [re, im, angle] : cases)
        EXPECT_EQ(ofPairs<std::int32_t>("CANGLE", {re}, {im}).at(0), angle) << re << " " << im;
    EXPECT_EQ(ofPairs<std::int16_t>("CANGLE", {1, -1, 0, 0, 1, 0}, {0, 0, 1, -1, 1, 0}),
              (std::vector<std::int16_t>{0, 32767, 16383, -16384, 8192, 0}));
}

TEST(Cangle, AnglesOfRealsAreInRadians) {
    const auto [re, im] = pairSamples<float>();
    const auto have = ofPairs("CANGLE", re, im);
    for (std::size_t i = 0; i < re.size(); ++i)
        ASSERT_EQ(have[i], static_cast<float>(zepl::atan2(double{im[i]}, double{re[i]})));
    EXPECT_EQ(ofPairs<double>("CANGLE", {-1}, {-0.0}), std::vector{-std::numbers::pi});
}

template <class Element>
class Polar : public testing::Test {};
TYPED_TEST_SUITE(Polar, Elements);

TYPED_TEST(Polar, GivesTheMagnitudeAndTheAngle) {
    const auto [re, im] = pairSamples<TypeParam>();
    const Call both("POLAR (re, im, " + typed<TypeParam>("out") + ", " + typed<TypeParam>("angle") + ")",
                    {{"re", re}, {"im", im}}, {.feed = atOnce});
    EXPECT_EQ(bitsOf(both.template taken<TypeParam>()), bitsOf(ofPairs("CMAG", re, im)));
    EXPECT_EQ(bitsOf(both.template taken<TypeParam>("angle")), bitsOf(ofPairs("CANGLE", re, im)));
}

}  // namespace
}  // namespace libzepl
