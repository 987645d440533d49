// REPLICATE against plain repetition, on both sides of each change of its loop.

#include "tests/routing/routing_support.h"

namespace libzepl {
namespace {

const Covers covers("REPLICATE");

template <class Element>
std::vector<Element> copied(const std::vector<Element>& source, std::size_t reps) {
    std::vector<Element> copies;
    for (const Element x : source) copies.insert(copies.end(), reps, x);
    return copies;
}

TYPED_TEST_SUITE(Routed, Elements);

TYPED_TEST(Routed, ReplicateMakesItsNumberOfCopies) {
    for (const std::size_t reps : std::initializer_list<std::size_t>{1, 2, 3, 4, 7, 15, 16, 17, 31, 33, 64, 127, 128,
                                                                     129, 500, 1023, 1024, 1025, 3000}) {
        const std::vector<TypeParam> source = randomBits<TypeParam>(reps < 8 ? 1500 : 100, 5);
        for (const std::uint32_t block : {1U, 3U, 1024U})
            EXPECT_EQ(bitsOf(resultOf<TypeParam>("REPLICATE (in, " + std::to_string(reps) + ", out)", source,
                                                 {.block = block})),
                      bitsOf(copied(source, reps)))
                << reps << " block " << block;
    }
}

TEST(ReplicateCounts, CopiesOfASampleDoNotWaitForTheNext) {
    // 40000 is past int16, and 1,000,003 copies are no whole number of blocks.
    for (const std::size_t reps : std::initializer_list<std::size_t>{40000, 1000003})
        EXPECT_EQ(resultOf<std::int16_t>("REPLICATE (in, " + std::to_string(reps) + ":int32, out)",
                                         std::vector<std::int16_t>{-7})
                      .size(),
                  reps);
}

TEST(ReplicateParameters, ListsAreRefusedAtTheFirstMistake) {
    expectReady({"REPLICATE (int16, 1, int16)", "REPLICATE (double, 2147483647:int32, double)"});
    expectRefused({"REPLICATE (int32, 0, float)"}, 3, 3);
    expectRefused(
        {"REPLICATE (int32, 0, int32)", "REPLICATE (float, -1, float)", "REPLICATE (int16, -2147483648:int32, int16)"},
        6, 2);
    expectRefused({"REPLICATE (int16, 1.5, int16)"}, 0, 2);
    expectRefused({"REPLICATE (int16, 1)"}, 0, 3);
    expectRefused({"REPLICATE (int16, 1, int16, int16)"}, 0, 4);
}

}  // namespace
}  // namespace libzepl
