// BAVERAGE against a plain definition at the edges of its strategies.

#include "tests/support/call.h"
#include "tests/support/covered.h"
#include "tests/support/samples.h"

namespace libzepl {
namespace {

const Covers covers("BAVERAGE");

using Int16s = std::vector<std::int16_t>;

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
std::vector<Element> meansOf(const std::vector<Element>& source, std::size_t blocksize, std::int32_t reps) {
    return resultOf<Element>("BAVERAGE " + list("in", static_cast<std::int32_t>(blocksize), reps, "out"), source);
}

template <class Element>
class Baverage : public testing::Test {};
TYPED_TEST_SUITE(Baverage, Elements);

TYPED_TEST(Baverage, MeansArePlainAtTheEdgesOfEachStrategy) {
    std::vector<TypeParam> source = randomSamples<TypeParam>(40000, 9);
    std::fill_n(source.begin() + 100, 100, static_cast<TypeParam>(-0.0));  // whose mean is no positive zero
    std::fill_n(source.begin() + 20000, 10000, std::numeric_limits<TypeParam>::lowest() / 4);
    for (const std::size_t blocksize :
         {1U, 2U, 15U, 16U, 17U, 100U, 127U, 128U, 129U, 1000U, 4095U, 4096U, 4097U, 6000U})
        for (const std::int32_t reps : {1, 2, 3, 4, 7, 13})
            EXPECT_EQ(bitsOf(meansOf(source, blocksize, reps)), bitsOf(plainMeans(source, blocksize, reps)))
                << blocksize << " by " << reps;
}

TEST(BaverageEdges, MoreThan32760Int16BlocksRoundWhereFewerTruncate) {
    for (const std::int32_t reps : {32760, 32761}) {
        Int16s source(static_cast<std::size_t>(reps), 7);
        source[5] = 6;  // so the mean is just below 7
        source.resize(2 * source.size(), -32768);
        EXPECT_EQ(meansOf(source, 1, reps), plainMeans(source, 1, reps)) << reps;
    }
}

TEST(BaverageParameters, ListsAreRefusedAtTheFirstMistake) {
    expectReady({"BAVERAGE (int16, 2, 2, int16)", "BAVERAGE (double, 2, 1, double)"});
    expectRefused({"BAVERAGE (int16, 0, 0, double)", "BAVERAGE (int16, -1, 2, int16)"}, 6, 2);
    expectRefused({"BAVERAGE (int16, 2, 0, double)", "BAVERAGE (int16, 2, -32768, int16)"}, 6, 3);
    expectRefused({"BAVERAGE (int16, 2, 2, double)"}, 3, 4);
    expectRefused({"BAVERAGE (int16, 2, 2)"}, 0, 4);
    expectRefused({"BAVERAGE (int16, 2, 2, int16, int16)"}, 0, 5);
    expectRefused({"BAVERAGE (int16, 2, 2.0, int16)"}, 0, 3);
}

}  // namespace
}  // namespace libzepl
