// CMAG against the sum of squares that a magnitude stands for.

#include "tests/arith/complex_support.h"

namespace libzepl {
namespace {

const Covers covers("CMAG");

__extension__ using Wide = unsigned __int128;

template <class Element>
void expectMagnitudes() {
    const auto [re, im] = pairSamples<Element>();
    const auto magnitudes = ofPairs("CMAG", re, im).at(0);
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

TEST(Cmag, AMagnitudeIsNotTheIntegerPartOfTheRoot) {
    expectMagnitudes<std::int16_t>();
    expectMagnitudes<std::int32_t>();
    const auto [re, im] = pairSamples<float>();
    const auto magnitudes = ofPairs("CMAG", re, im).at(0);
    for (std::size_t i = 0; i < re.size(); ++i)
        ASSERT_EQ(magnitudes[i],
                  static_cast<float>(std::sqrt(std::pow(double{re[i]}, 2) + std::pow(double{im[i]}, 2))));
    EXPECT_EQ(ofPair("CMAG", 1e300, 0.0), INFINITY);
    EXPECT_EQ(ofPair("CMAG", 0.3, 0.4), std::sqrt(0.3 * 0.3 + 0.4 * 0.4));
}

TEST(CmagEdges, TheyDifferFromWhatIsPromised) {
    using Word = std::int16_t;
    EXPECT_EQ(ofPair<Word>("CMAG", 3, 4), 5);
    EXPECT_EQ(ofPair<Word>("CMAG", 32767, 32767), 32767);
    EXPECT_EQ(ofPair<Word>("CMAG", -32768, -32768), 32767);
    EXPECT_EQ(ofPair<std::int32_t>("CMAG", 2147483647, 2147483647), 2147483647);
}

TEST(CmagPairs, FewerImaginaryPartsThanRealOnesAreNotWaitedFor) {
    const auto ofFive = [](const std::vector<std::int16_t>& im) {
        return ofPairs<std::int16_t>("CMAG", {1, 2, 3, 4, 5}, im, 1, {.kind = FeedPolicy::Kind::whole}).at(0).size();
    };
    EXPECT_EQ(ofFive({0, 0}), 0u);
    EXPECT_EQ(ofFive({0, 0, 0, 0, 0, 0}), 5u);
}

}  // namespace
}  // namespace libzepl
