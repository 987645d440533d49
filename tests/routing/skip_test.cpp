// SKIP against slicing, by blocks and by values, however the input arrives.

#include "tests/routing/routing_support.h"

namespace libzepl {
namespace {

const Covers covers("SKIP");

struct Pattern {
    std::uint64_t preskip, take, skip;

    std::string call() const {
        return "SKIP " + list("in", std::to_string(preskip), std::to_string(take), std::to_string(skip), "out");
    }
};

template <class Element>
std::vector<Element> sliced(const std::vector<Element>& source, const Pattern& pattern) {
    std::vector<Element> kept;
    for (std::uint64_t i = pattern.preskip; i < source.size(); ++i)
        if ((i - pattern.preskip) % (pattern.take + pattern.skip) < pattern.take) kept.push_back(source[i]);
    return kept;
}

template <class Element>
void expectSlices(const std::vector<Element>& source, const Pattern& pattern, const SessionOptions& options) {
    EXPECT_EQ(bitsOf(resultOf<Element>(pattern.call(), source, options)), bitsOf(sliced(source, pattern)))
        << pattern.call() << "block " << options.block;
}

// Pieces and blocks that cut patterns everywhere; few samples in a block make the cuts many.
template <class Element>
void expectSlicesOfAllCuts(const std::vector<Element>& source, const Pattern& pattern, std::uint64_t seed) {
    const FeedPolicy random{.kind = FeedPolicy::Kind::random, .seed = seed};
    for (const std::uint32_t block : {1U, 2U, 5U, 16U, 1024U})
        for (const FeedPolicy& feed : {FeedPolicy{.kind = FeedPolicy::Kind::whole}, FeedPolicy{.piece = 1}, random})
            expectSlices(source, pattern, {.feed = feed, .block = block});
    expectSlices(source, pattern, {.feed = random, .info = noBlockTransfer});
}

TYPED_TEST_SUITE(Routed, Elements);

TYPED_TEST(Routed, SkipKeepsThePatternsSamples) {
    const std::vector<TypeParam> source = randomBits<TypeParam>(9000, 3);
    const std::initializer_list<Pattern> patterns{
        {0, 1, 1},    {0, 2, 1},    {3, 1, 30},    {0, 31, 1},    {0, 30, 1},   {0, 16, 15},
        {0, 16, 16},  {0, 1, 31},   {5, 4096, 1},  {0, 1, 4095},  {0, 7, 0},    {8999, 1, 0},
        {9000, 1, 1}, {4097, 3, 2}, {0, 1, 40000}, {0, 40000, 1}, {40000, 1, 0}};
    for (const Pattern& pattern : patterns) {
        expectSlices(source, pattern, {});
        expectSlices(source, pattern, {.info = noBlockTransfer});
    }
}

TYPED_TEST(Routed, SkipKeepsThePatternsSamplesWhereABlockCutsIt) {
    std::mt19937_64 random(11);
    for (std::uint64_t seed = 1; seed <= 15; ++seed) {
        const std::uint64_t reach = seed % 2 == 0 ? 33 : 8;
        const Pattern pattern{random() % 10, 1 + random() % reach, random() % reach};
        expectSlicesOfAllCuts(randomBits<TypeParam>(300, seed), pattern, seed);
    }
}

TEST(SkipCounts, TheSumOfTakeAndSkipDoesNotOverflow) {
    const std::vector<std::int16_t> source{1, 2, 3};
    EXPECT_EQ(resultOf<std::int16_t>("SKIP (in, 1, 2147483647:int32, 2147483647:int32, out)", source),
              (std::vector<std::int16_t>{2, 3}));
    EXPECT_EQ(resultOf<std::int16_t>("SKIP (in, 0, 1, 2147483647:int32, out)", source), (std::vector<std::int16_t>{1}));
}

TEST(SkipCounts, ATakeOfNothingDropsTheWholeInput) {
    for (const auto& info : {std::map<std::uint32_t, std::uint32_t>{}, noBlockTransfer}) {
        const Call call("SKIP (in, 2, 0, 1, out:int32)", {{"in", countUp(20001)}}, {.info = info});
        EXPECT_EQ(call.report.pipes[0].unread, 0U);
        EXPECT_TRUE(call.taken<std::int32_t>().empty());
    }
}

TEST(SkipParameters, ListsAreRefusedAtTheFirstMistake) {
    expectReady({"SKIP (int16, 0, 0, 0, int16)", "SKIP (double, 1, 2:int32, 3, double)"});
    expectRefused({"SKIP (int16, -1, -1, -1, int32)"}, 3, 5);
    expectRefused({"SKIP (int32, -1, -1, -1, int32)", "SKIP (float, -1:int32, 1, 1, float)"}, 6, 2);
    expectRefused({"SKIP (int16, 0, -32768, -1, int16)"}, 6, 3);
    expectRefused({"SKIP (int16, 0, 1, -2147483648:int32, int16)"}, 6, 4);
    expectRefused({"SKIP (int16, 0.5, 1, 1, int16)"}, 0, 2);
    expectRefused({"SKIP (int16, 0, 1, 1)"}, 0, 5);
    expectRefused({"SKIP (int16, 0, 1, 1, int16, int16)"}, 0, 6);
}

}  // namespace
}  // namespace libzepl
