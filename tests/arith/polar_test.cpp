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

}  // namespace
}  // namespace libzepl
