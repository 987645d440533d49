// RANGE against the samples picked one by one.

#include "tests/arith/arith_support.h"

namespace libzepl {
namespace {

const Covers covers("RANGE");

constexpr std::int32_t inside = 0, outside = 1;

template <class Element>
std::vector<Element> picked(const std::vector<Element>& source, std::int32_t word, Element low, Element high) {
    std::vector<Element> kept;
    for (const Element x : source)
        if (word == inside ? low <= x && x <= high : x < low || x > high || x != x) kept.push_back(x);
    return kept;
}

template <class Element>
class Range : public testing::Test {};
TYPED_TEST_SUITE(Range, Elements);

TYPED_TEST(Range, ASampleIsKeptOrDroppedWrongly) {
    const std::pair<TypeParam, TypeParam> limits[] = {{TypeParam{-9}, TypeParam{10000}},
                                                      {TypeParam{0}, TypeParam{0}},
                                                      {TypeParam{10}, TypeParam{-10}},
                                                      {std::numeric_limits<TypeParam>::lowest(), most<TypeParam>}};
    const auto source = edgeSamples<TypeParam>();
    for (const auto& [low, high] : limits)
        for (const std::int32_t word : {inside, outside, -1})
            EXPECT_EQ(bitsOf(after<TypeParam>("RANGE", source, {hostWord(word), constant(low), constant(high)})),
                      bitsOf(picked(source, word, low, high)));
}

TEST(RangeEdges, ALimitIsNotInside) {
    const Given limits{int16Constant(0), int16Constant(10)};
    const std::vector<std::int16_t> source{-1, 0, 10, 11};
    EXPECT_EQ(after("RANGE", source, {hostWord(inside), limits[0], limits[1]}), (std::vector<std::int16_t>{0, 10}));
    EXPECT_EQ(after("RANGE", source, {hostWord(outside), limits[0], limits[1]}), (std::vector<std::int16_t>{-1, 11}));
}

}  // namespace
}  // namespace libzepl
