// BAVERAGE against a plain definition at the edges of its strategies, however the input arrives.

#include "tests/stats/stats_support.h"

namespace libzepl {
namespace {

const Covers covers("BAVERAGE");

std::int64_t rounded(std::int64_t sum, std::int64_t reps) {
    // To the nearest; an exact half goes up.
    const std::int64_t twice = 2 * sum + reps, below = twice / (2 * reps);
    return below - (twice % (2 * reps) < 0 ? 1 : 0);
}

// The mean of `reps` elements that lie `blocksize` apart.
template <class Element>
Element plainMean(const Element* first, std::size_t blocksize, std::int32_t reps) {
    if constexpr (std::is_integral_v<Element>) {
        std::int64_t sum = 0;
        for (std::int32_t block = 0; block < reps; ++block) sum += first[static_cast<std::size_t>(block) * blocksize];
        const bool truncates = sizeof(Element) == 2 && reps <= 32760;
        return static_cast<Element>(truncates ? sum / reps : rounded(sum, reps));
    } else {
        Element sum = *first;
        for (std::int32_t block = 1; block < reps; ++block) sum += first[static_cast<std::size_t>(block) * blocksize];
        return sum / static_cast<Element>(reps);
    }
}

template <class Element>
std::vector<Element> plainMeans(const std::vector<Element>& source, std::size_t blocksize, std::int32_t reps) {
    if (reps == 1) return source;
    const std::size_t group = blocksize * static_cast<std::size_t>(reps);
    std::vector<Element> means;
    for (std::size_t from = 0; from + group <= source.size(); from += group)
        for (std::size_t k = 0; k < blocksize; ++k) means.push_back(plainMean(&source[from + k], blocksize, reps));
    return means;
}

template <class Element>
std::vector<Element> meansOf(const std::vector<Element>& source, std::size_t blocksize, std::int32_t reps,
                             FeedPolicy feed = {}) {
    return resultOf<Element>("BAVERAGE", source,
                             {int32Constant(static_cast<std::int32_t>(blocksize)), int32Constant(reps)}, {}, feed);
}

template <class Element>
class Baverage : public testing::Test {};
using Elements = testing::Types<std::int16_t, std::int32_t, float, double>;
TYPED_TEST_SUITE(Baverage, Elements);

TYPED_TEST(Baverage, AMeanDiffersFromThePlainDefinitionAtTheEdgeOfAStrategy) {
    std::vector<TypeParam> source = randomSamples<TypeParam>(40000, 9);
    std::fill_n(source.begin() + 20000, 10000, std::numeric_limits<TypeParam>::lowest() / 4);
    for (const std::size_t blocksize : {1, 2, 15, 16, 17, 100, 127, 128, 129, 1000, 4095, 4096, 4097, 6000})
        for (const std::int32_t reps : {1, 2, 3, 4, 7, 13})
            EXPECT_EQ(bitsOf(meansOf(source, blocksize, reps)), bitsOf(plainMeans(source, blocksize, reps)))
                << blocksize << " by " << reps;
}

TYPED_TEST(Baverage, TheArrivalOfTheInputChangesTheOutput) {
    const std::vector<TypeParam> source = randomSamples<TypeParam>(21000, 10);
    for (const std::size_t blocksize : {3, 100, 700, 5000})
        for (const std::int32_t reps : {1, 3})
            EXPECT_EQ(sameForEveryArrival(
                          1024, [&](FeedPolicy feed) { return meansOf(source, blocksize, reps, feed); }, 3),
                      plainMeans(source, blocksize, reps));
}

TEST(BaverageEdges, AHalfGoesTheOtherWay) {
    using Int16s = std::vector<std::int16_t>;
    using Int32s = std::vector<std::int32_t>;
    EXPECT_EQ(meansOf(Int16s{1, 2, -1, -2, 32767, 32767, -32768, -32768}, 1, 2), (Int16s{1, -1, 32767, -32768}));
    EXPECT_EQ(meansOf(Int32s{1, 2, -1, -2, 2147483647, 2147483647}, 1, 2), (Int32s{2, -1, 2147483647}));
    EXPECT_EQ(meansOf(Int32s{1, 1, 0, 1, 0, 0, -1, -1, 0, -1, 0, 0}, 1, 3), (Int32s{1, 0, -1, 0}));
    EXPECT_EQ(meansOf(Int32s{-1, -1, -1, 0, -1, -1, 0, 0}, 1, 4), (Int32s{-1, 0}));
}

TEST(BaverageEdges, ManyInt16BlocksWrapOrRoundWhereFewerTruncate) {
    // All but one block have 7, that one 6: the mean is just below 7.
    for (const std::int32_t reps : {32760, 32761}) {
        std::vector<std::int16_t> source(static_cast<std::size_t>(reps), 7);
        source[5] = 6;
        EXPECT_EQ(meansOf(source, 1, reps), std::vector<std::int16_t>{int16Value(reps == 32760 ? 6 : 7)});
        source.assign(static_cast<std::size_t>(reps), -32768);
        EXPECT_EQ(meansOf(source, 1, reps), std::vector<std::int16_t>{-32768});
    }
}

TEST(BaverageEdges, ASumStartsAtZeroOrIsOfDoublePrecision) {
    EXPECT_EQ(bitsOf(meansOf<float>({-0.0F, -0.0F}, 1, 2)), std::vector<std::uint32_t>{0x80000000});
    EXPECT_EQ(meansOf<float>({0x1p24F, 1, 1, 0}, 1, 4), std::vector<float>{0x1p22F});
}

TEST(BaverageParameters, AListThatIsNotItsOwnPasses) {
    constexpr ElementType int16 = ElementType::int16, real = ElementType::float64;
    const std::int16_t two = 2, none = 0;
    expectOutcomes("BAVERAGE", {{{int16, two, two, int16}, "waiting"},
                                {{real, 2, 1, real}, "waiting"},
                                {{int16, none, none, real}, "error code 6 at 2"},
                                {{int16, -1, two, int16}, "error code 6 at 2"},
                                {{int16, two, none, real}, "error code 6 at 3"},
                                {{int16, two, int16Value(-32768), int16}, "error code 6 at 3"},
                                {{int16, two, two, real}, "error code 3 at 4"},
                                {{int16, two, two}, "refused at 4"},
                                {{int16, two, two, int16, int16}, "refused at 5"},
                                {{int16, two, 2.0, int16}, "refused at 3"}});
}

}  // namespace
}  // namespace libzepl
