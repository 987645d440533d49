// DELTA against differences of neighbours, taken in a type that holds them.

#include "tests/arith/arith_support.h"

namespace libzepl {
namespace {

const Covers covers("DELTA");

template <class Element>
class Delta : public testing::Test {};
TYPED_TEST_SUITE(Delta, Elements);

TYPED_TEST(Delta, ADifferenceIsNotThatOfTheInputsThemselves) {
    const std::vector<TypeParam> source = edgeSamples<TypeParam>();
    std::vector<TypeParam> expected;
    for (std::size_t i = 1; i < source.size(); ++i) {
        if constexpr (std::is_integral_v<TypeParam>)
            expected.push_back(static_cast<TypeParam>(
                std::clamp<std::int64_t>(std::int64_t{source[i]} - source[i - 1], least<TypeParam>, most<TypeParam>)));
        else
            expected.push_back(source[i] - source[i - 1]);
    }
    const auto have = after("DELTA", source);
    ASSERT_EQ(have.size(), expected.size());
    for (std::size_t i = 0; i < have.size(); ++i)
        ASSERT_TRUE(have[i] == expected[i] || (have[i] != have[i] && expected[i] != expected[i])) << i;
}

TEST(DeltaEdges, ADifferencePastTheTypeWrapsOrCarriesItsClampOn) {
    using Words = std::vector<std::int16_t>;
    EXPECT_EQ(after<std::int16_t>("DELTA", {32767, -32768, 32767, 32766}), Words({-32768, 32767, -1}));
    EXPECT_EQ(after<std::int16_t>("DELTA", {1, 2, 4}), Words({1, 2}));
    EXPECT_EQ(after<std::int16_t>("DELTA", {7}), Words());
    EXPECT_EQ(after<std::int32_t>("DELTA", {least<std::int32_t>, most<std::int32_t>, -1}),
              (std::vector<std::int32_t>{most<std::int32_t>, least<std::int32_t>}));
}

}  // namespace
}  // namespace libzepl
