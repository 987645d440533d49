// BOUND against the two comparisons that define it.

#include "tests/arith/arith_support.h"

namespace libzepl {
namespace {

const Covers covers("BOUND");

template <class Element>
class Bound : public testing::Test {};
TYPED_TEST_SUITE(Bound, Elements);

TYPED_TEST(Bound, ASampleIsNotHeldByTheLimitThatIsAskedFirst) {
    const auto lowest = std::numeric_limits<TypeParam>::lowest();
    const std::pair<TypeParam, TypeParam> limits[] = {{TypeParam{0}, TypeParam{10}},
                                                      {TypeParam{10}, TypeParam{5}},
                                                      {lowest, most<TypeParam>},
                                                      {most<TypeParam>, lowest},
                                                      {TypeParam{-7}, TypeParam{-7}}};
    for (const auto& [low, high] : limits)
        expectEach<TypeParam>("BOUND", edgeSamples<TypeParam>(), {constant(low), constant(high)}, [&](TypeParam x) {
            if (x <= low) return low;
            if (x >= high) return high;
            return x;
        });
}

TEST(BoundEdges, TheyDifferFromWhatIsPromised) {
    EXPECT_EQ(after<std::int16_t>("BOUND", {-1, 0, 5, 10, 11}, {int16Constant(0), int16Constant(10)}),
              (std::vector<std::int16_t>{0, 0, 5, 10, 10}));
    EXPECT_EQ(after<std::int32_t>("BOUND", {7, 12, 10}, {int16Constant(10), int16Constant(5)}),
              (std::vector<std::int32_t>{10, 5, 10}));
}

TEST(BoundEdges, AChangeOfALimitTakesEffect) {
    EXPECT_EQ(withVariable("BOUND", {9, 9}, "pass set,5 pass", {0, {}}), (std::vector<std::int32_t>{2, 2}));
}

}  // namespace
}  // namespace libzepl
