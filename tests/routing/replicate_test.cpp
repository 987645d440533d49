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

TYPED_TEST(Routed, ReplicateMakesACopyLessOrMore) {
    for (const std::size_t reps : std::initializer_list<std::size_t>{1, 2, 3, 4, 7, 15, 16, 17, 31, 33, 64, 127, 128,
                                                                     129, 500, 1023, 1024, 1025, 3000}) {
        const std::vector<TypeParam> source = randomBits<TypeParam>(reps < 8 ? 1500 : 100, 5);
        for (const std::uint32_t block : {1U, 3U, 1024U})
            EXPECT_EQ(bitsOf(routed("REPLICATE", source, std::to_string(reps), {.block = block})),
                      bitsOf(copied(source, reps)))
                << reps << " block " << block;
    }
}

TEST(ReplicateCounts, CopiesOfASampleWaitForTheNext) {
    // 40000 is past int16, and 1,000,003 copies are no whole number of blocks.
    for (const std::size_t reps : std::initializer_list<std::size_t>{40000, 1000003})
        EXPECT_EQ(routed<std::int16_t>("REPLICATE", {-7}, std::to_string(reps) + "l").size(), reps);
}

TEST(ReplicateParameters, AListThatIsNotItsOwnPasses) {
    expectSetUps(
        "REPLICATE",
        "ready: i16 1 i16; ready: f64 2147483647l f64; 3 at 3: i32 0 f32; 6 at 2: i32 0 i32; 6 at 2: f32 -1 f32;"
        "6 at 2: i16 -2147483648l i16; refused at 2: i16 1.5 i16; refused at 3: i16 1; refused at 4: i16 1 i16 "
        "i16");
}

}  // namespace
}  // namespace libzepl
