// HIGH and LOW against a plain scan that keeps its position from block to block, however the input arrives.

#include <algorithm>
#include <cmath>

#include "tests/stats/stats_support.h"

namespace libzepl {
namespace {

const Covers high("HIGH"), low("LOW");

template <class Element, class Position>
struct Extremes {
    std::vector<BitsOf<Element>> values;
    std::vector<Position> positions;
    bool operator==(const Extremes&) const = default;
};

template <class Element, class Position>
Extremes<Element, Position> plainExtremes(bool highest, const std::vector<Element>& source, std::size_t bsize) {
    constexpr Element least = std::numeric_limits<Element>::lowest(), most = std::numeric_limits<Element>::max();
    std::vector<Element> values;
    Extremes<Element, Position> extremes;
    std::size_t position = 0;
    for (std::size_t from = 0; from + bsize <= source.size(); from += bsize) {
        Element extreme = highest ? least : most;
        for (std::size_t i = 0; i < bsize; ++i) {
            const Element x = source[from + i];
            if (!(highest ? x > extreme : x < extreme)) continue;
            extreme = x;
            position = i;
        }
        values.push_back(extreme);
        extremes.positions.push_back(static_cast<Position>(position));
    }
    extremes.values = bitsOf(values);
    return extremes;
}

template <class Element, class Position>
Extremes<Element, Position> extremesOf(bool highest, const std::vector<Element>& source, std::size_t bsize,
                                       FeedPolicy feed = {}) {
    TestSession session({.feed = feed});
    const PipeId from = session.input("source", source), to = session.output("result", {}, elementTypeOf<Element>());
    const PipeId loc = session.output("loc", {}, elementTypeOf<Position>());
    session.task(highest ? "HIGH" : "LOW", from, int32Constant(static_cast<std::int32_t>(bsize)), to, loc);
    session.run();
    return {bitsOf(session.collected<Element>(to)), session.collected<Position>(loc)};
}

// Random bits, then stretches of few values, of zeros of both signs, of start values, of NaNs, and slopes.
template <class Element>
std::vector<Element> samplesFor() {
    std::vector<Element> source = randomBits<Element>(4000, 5);
    const std::vector<Element> dice = randomBits<Element>(4000, 6);
    for (std::size_t i = 0; i < dice.size(); ++i) {
        const auto die = static_cast<int>(bitsOf<Element>({dice[i]})[0] % 3);
        const auto values = std::vector<Element>{Element(0), static_cast<Element>(-0.0), Element(1)};
        source.push_back(i < 1500 ? values[static_cast<std::size_t>(die)]
                                  : static_cast<Element>(i < 3000 ? die : (die - 1) * 0.0));
    }
    source.insert(source.end(), 1000, std::numeric_limits<Element>::lowest());
    source.insert(source.end(), 1000, std::numeric_limits<Element>::max());
    if constexpr (std::is_floating_point_v<Element>) source.insert(source.end(), 1000, static_cast<Element>(NAN));
    for (int i = -1500; i < 1500; ++i) source.push_back(static_cast<Element>(i < 0 ? i : -i));
    return source;
}

template <class Element>
class ExtremesOf : public testing::Test {};
using Elements = testing::Types<std::int16_t, std::int32_t, float, double>;
TYPED_TEST_SUITE(ExtremesOf, Elements);

TYPED_TEST(ExtremesOf, AnExtremeOrItsPositionDiffersFromAPlainScan) {
    const auto source = samplesFor<TypeParam>();
    for (const bool highest : {true, false}) {
        for (const std::size_t bsize : {1, 2, 3, 31, 64, 65, 129, 250, 999, 1001, 3500}) {
            const auto narrow = extremesOf<TypeParam, std::int16_t>(highest, source, bsize);
            const auto wide = extremesOf<TypeParam, std::int32_t>(highest, source, bsize);
            EXPECT_EQ(narrow, (plainExtremes<TypeParam, std::int16_t>(highest, source, bsize))) << highest << bsize;
            EXPECT_EQ(wide, (plainExtremes<TypeParam, std::int32_t>(highest, source, bsize))) << highest << bsize;
            const auto alone = resultOf<TypeParam>(highest ? "HIGH" : "LOW", source,
                                                   {int32Constant(static_cast<std::int32_t>(bsize))});
            EXPECT_EQ(bitsOf(alone), wide.values) << highest << bsize;
        }
    }
}

TYPED_TEST(ExtremesOf, TheArrivalOfTheInputChangesTheOutput) {
    const auto source = samplesFor<TypeParam>();
    for (const bool highest : {true, false})
        for (const std::size_t bsize : {9, 1003})
            sameForEveryArrival(1000, [&](FeedPolicy feed) {
                return extremesOf<TypeParam, std::int32_t>(highest, source, bsize, feed);
            });
}

TEST(Extremes, ThePositionIsNotTheFirstOrIsClearedBetweenBlocks) {
    using Int16 = Extremes<std::int16_t, std::int32_t>;
    const auto of = extremesOf<std::int16_t, std::int32_t>;
    EXPECT_EQ(of(true, {3, 7, 7, 1}, 4, {}), (Int16{{7}, {1}}));
    EXPECT_EQ(of(false, {5, 5, 5}, 3, {}), (Int16{{5}, {0}}));
    EXPECT_EQ(of(true, {1, 2, 9, -32768, -32768, -32768}, 3, {}), (Int16{{9, 0x8000}, {2, 2}}));
    EXPECT_EQ(of(false, {32767, 32767, 32767, 1, 32767, 32767}, 2, {}), (Int16{{32767, 1, 32767}, {0, 1, 1}}));
}

TEST(Extremes, APositionPast15BitsIsHeldOrWidened) {
    std::vector<std::int32_t> source(70000);
    source[40000] = 1;
    EXPECT_EQ((extremesOf<std::int32_t, std::int16_t>(true, source, 70000).positions),
              (std::vector<std::int16_t>{static_cast<std::int16_t>(40000 - 65536)}));
    EXPECT_EQ((extremesOf<std::int32_t, std::int32_t>(true, source, 70000).positions),
              (std::vector<std::int32_t>{40000}));
}

}  // namespace
}  // namespace libzepl
