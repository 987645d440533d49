// CANGLE against the arctangent, and to the digit where that is told.

#include <numbers>

#include "tests/arith/complex_support.h"

namespace libzepl {
namespace {

const Covers covers("CANGLE");

template <class Element>
std::vector<Element> angles(const std::vector<Element>& re, const std::vector<Element>& im) {
    return ofPairs("CANGLE", re, im).at(0);
}

TEST(Cangle, AnAngleIsFarFromTheArctangent) {
    const auto [re, im] = pairSamples<std::int32_t>();
    const auto have = angles(re, im);
    ASSERT_EQ(have.size(), re.size());
    for (std::size_t i = 0; i < re.size(); ++i) {
        const double exact = std::atan2(im[i], re[i]) / std::numbers::pi * 0x1p31;
        ASSERT_NEAR(have[i], exact, 2e5) << re[i] << " " << im[i];  // the chord of a 24th
    }
}

TEST(CangleEdges, TheyDifferFromWhatIsPromised) {
    const struct {
        std::int32_t re, im, angle;
    } cases[] = {
        {1, 0, 0},
        {-1, 0, 0x7fffffff},
        {0, 1, 0x3fffffff},
        {0, -1, -0x3fffffff},
        {0, 0, 0},
        {1, 1, 0x20000000},
        {-1, 1, 0x7fffffff - 0x20000000},
        {-1, -1, -0x7fffffff + 0x20000000},
        {1, -1, -0x20000000},
        {24, 1, 28465421},
        {1, 24, 0x3fffffff - 28465421},
        {-1, 24, 0x3fffffff + 28465421},
        {-1, -24, -0x3fffffff - 28465421},
        {1, -24, -0x3fffffff + 28465421},
        // 2^31 is taken as it is, so it is greater than the greatest value.
        {least<std::int32_t>, most<std::int32_t>, 0x7fffffff - 536870911},
        {least<std::int32_t>, least<std::int32_t>, -0x7fffffff + 0x20000000},
    };
    for (const auto& [re, im, angle] : cases) EXPECT_EQ(ofPair("CANGLE", re, im), angle) << re << " " << im;
    using Words = std::vector<std::int16_t>;
    EXPECT_EQ(angles<std::int16_t>({1, -1, 0, 0, 1, 0}, {0, 0, 1, -1, 1, 0}),
              Words({0, 32767, 16383, -16384, 8192, 0}));
}

TEST(CangleReals, AnAngleIsNotInRadians) {
    const auto [re, im] = pairSamples<float>();
    const auto have = angles(re, im);
    for (std::size_t i = 0; i < re.size(); ++i)
        ASSERT_EQ(have[i], static_cast<float>(std::atan2(double{im[i]}, double{re[i]})));
    EXPECT_EQ(ofPair("CANGLE", -1.0, -0.0), -std::numbers::pi);
}

}  // namespace
}  // namespace libzepl
