// SKIP against slicing, by blocks and by values, however the input arrives.

#include "tests/routing/routing_support.h"

namespace libzepl {
namespace {

const Covers covers("SKIP");

struct Pattern {
    std::uint64_t preskip, take, skip;

    // Constants are of the kind that holds them.
    std::string list() const {
        std::string text;
        for (const std::uint64_t n : {preskip, take, skip}) text += std::to_string(n) + (n > 32767 ? "l " : " ");
        return text;
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
    EXPECT_EQ(bitsOf(routed("SKIP", source, pattern.list(), options)), bitsOf(sliced(source, pattern)))
        << pattern.list() << "block " << options.block;
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

TYPED_TEST(Routed, SkipKeepsOtherSamplesThanAnOrdinaryPattern) {
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

TYPED_TEST(Routed, SkipKeepsOtherSamplesWhereABlockCutsThePattern) {
    std::mt19937_64 random(11);
    for (std::uint64_t seed = 1; seed <= 15; ++seed) {
        const std::uint64_t reach = seed % 2 == 0 ? 33 : 8;
        const Pattern pattern{random() % 10, 1 + random() % reach, random() % reach};
        expectSlicesOfAllCuts(randomBits<TypeParam>(300, seed), pattern, seed);
    }
}

TEST(SkipCounts, TheSumOfTakeAndSkipOverflows) {
    const std::vector<std::int16_t> source{1, 2, 3};
    EXPECT_EQ(routed("SKIP", source, "1 2147483647l 2147483647l"), (std::vector<std::int16_t>{2, 3}));
    EXPECT_EQ(routed("SKIP", source, "0 1 2147483647l"), (std::vector<std::int16_t>{1}));
}

TEST(SkipCounts, ATakeOfNothingLeavesTheInputInItsPipe) {
    for (const auto& info : {std::map<std::uint32_t, std::uint32_t>{}, noBlockTransfer}) {
        TestSession session({.info = info});
        const PipeId from = session.input("from", countUp(20001)), to = session.output("to");
        session.task("SKIP", from, int16Constant(2), int16Constant(0), int16Constant(1), to);
        EXPECT_EQ(session.run().pipes[0].unread, 0U);
        EXPECT_TRUE(session.collected<std::int32_t>(to).empty());
    }
}

TEST(SkipParameters, AListThatIsNotItsOwnPasses) {
    expectSetUps("SKIP",
                 "ready: i16 0 0 0 i16; ready: f64 1 2l 3 f64; 3 at 5: i16 -1 -1 -1 i32; 6 at 2: i32 -1 -1 -1 i32;"
                 "6 at 2: f32 -1l 1 1 f32; 6 at 3: i16 0 -32768 -1 i16; 6 at 4: i16 0 1 -2147483648l i16;"
                 "refused at 2: i16 0.5 1 1 i16; refused at 5: i16 0 1 1; refused at 6: i16 0 1 1 i16 i16");
}

}  // namespace
}  // namespace libzepl
