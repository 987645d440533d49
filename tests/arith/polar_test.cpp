// POLAR against CMAG and CANGLE.

#include "tests/arith/complex_support.h"

namespace libzepl {
namespace {

const Covers covers("POLAR");

template <class Element>
class Polar : public testing::Test {};
TYPED_TEST_SUITE(Polar, Elements);

TYPED_TEST(Polar, APairDiffersFromItsMagnitudeAndAngle) {
    const auto [re, im] = pairSamples<TypeParam>();
    const auto both = ofPairs("POLAR", re, im, 2);
    EXPECT_EQ(bitsOf(both.at(0)), bitsOf(ofPairs("CMAG", re, im).at(0)));
    EXPECT_EQ(bitsOf(both.at(1)), bitsOf(ofPairs("CANGLE", re, im).at(0)));
}

TEST(PolarPairs, ApartInTimeAreCombinedWithOthers) {
    const auto re = randomBits<std::int32_t>(5003, 1), im = randomBits<std::int32_t>(5003, 2);
    const auto all = sameForEveryArrival(1000, [&](FeedPolicy feed) { return ofPairs("POLAR", re, im, 2, feed); });
    EXPECT_EQ(all.at(0).size(), 5003u);
    EXPECT_EQ(all.at(1).size(), 5003u);
}

}  // namespace
}  // namespace libzepl
