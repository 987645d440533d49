// HIGH and LOW against a plain scan that keeps its position from block to block.

#include <cmath>

#include "tests/support/call.h"
#include "tests/support/covered.h"
#include "tests/support/samples.h"

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
Extremes<Element, Position> extremesOf(bool highest, const std::vector<Element>& source, std::size_t bsize) {
    const std::string arguments =
        list("in", static_cast<std::int32_t>(bsize), typed<Element>("out"), typed<Position>("loc"));
    const Call call((highest ? "HIGH " : "LOW ") + arguments, {{"in", source}});
    return {bitsOf(call.taken<Element>()), call.taken<Position>("loc")};
}

// Random bits with stretches of start values between, then few values, zeros of both signs, NaNs, and slopes.
template <class Element>
std::vector<Element> samplesFor() {
    std::vector<Element> source = randomBits<Element>(4000, 5);
    const std::vector<Element> dice = randomBits<Element>(4000, 6);
    source.insert(source.end(), 1000, std::numeric_limits<Element>::lowest());
    source.insert(source.end(), dice.begin(), dice.begin() + 500);
    source.insert(source.end(), 1000, std::numeric_limits<Element>::max());
    for (std::size_t i = 0; i < dice.size(); ++i) {
        const auto die = static_cast<int>(bitsOf<Element>({dice[i]})[0] % 3);
        const auto values = std::vector<Element>{Element(0), static_cast<Element>(-0.0), Element(1)};
        source.push_back(i < 1500 ? values[static_cast<std::size_t>(die)]
                                  : static_cast<Element>(i < 3000 ? die : (die - 1) * 0.0));
    }
    if constexpr (std::is_floating_point_v<Element>) source.insert(source.end(), 1000, static_cast<Element>(NAN));
    for (int i = -1500; i < 1500; ++i) source.push_back(static_cast<Element>(i < 0 ? i : -i));
    return source;
}

template <class Position, class Element>
void expectPlain(bool highest, const std::vector<Element>& source, std::size_t bsize) {
    EXPECT_EQ((extremesOf<Element, Position>(highest, source, bsize)),
              (plainExtremes<Element, Position>(highest, source, bsize)))
        << (highest ? "highest of " : "lowest of ") << bsize;
}

template <class Element>
class ExtremesOf : public testing::Test {};
TYPED_TEST_SUITE(ExtremesOf, Elements);

TYPED_TEST(ExtremesOf, ExtremesAndTheirPositionsAreThoseOfAPlainScan) {
    const auto source = samplesFor<TypeParam>();
    for (const bool highest : {true, false}) {
        for (const std::size_t bsize : {1U, 2U, 3U, 31U, 64U, 65U, 129U, 250U, 999U, 1001U, 3500U}) {
            expectPlain<std::int16_t>(highest, source, bsize);
            expectPlain<std::int32_t>(highest, source, bsize);
            const std::string arguments = list("in", static_cast<std::int32_t>(bsize), "out");
            const auto alone = resultOf<TypeParam>((highest ? "HIGH " : "LOW ") + arguments, source);
            EXPECT_EQ(bitsOf(alone), (plainExtremes<TypeParam, std::int32_t>(highest, source, bsize)).values);
        }
    }
}

TEST(Extremes, APositionPast15BitsWraps) {
    std::vector<std::int32_t> source(70000);
    source[40000] = 1;
    expectPlain<std::int16_t>(true, source, source.size());
    expectPlain<std::int32_t>(true, source, source.size());
}

}  // namespace
}  // namespace libzepl
