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

TYPED_TEST(Range, KeepsTheSamplesOfItsRegion) {
    const std::pair<TypeParam, TypeParam> limits[] = {{TypeParam{-9}, TypeParam{10000}},
                                                      {TypeParam{0}, TypeParam{0}},
                                                      {TypeParam{10}, TypeParam{-10}},
                                                      {std::numeric_limits<TypeParam>::lowest(), most<TypeParam>}};
    const auto source = edgeSamples<TypeParam>();
    for (const auto& [low, high] : limits)
        for (const std::int32_t word : {inside, outside, -1}) {
            TestSession session;
            session.define("region", hostWord(word));
            session.input("in", source);
            const PipeId out = session.output("out", {}, elementTypeOf<TypeParam>());
            addCall(session, "RANGE " + list("in", "region", low, high, "out"));
            session.run();
            EXPECT_EQ(bitsOf(session.collected<TypeParam>(out)), bitsOf(picked(source, word, low, high)));
        }
}

}  // namespace
}  // namespace libzepl
