// RANDOM against its plain definition, in modular arithmetic of 64 bits.

#include "tests/support/call.h"
#include "tests/support/covered.h"

namespace libzepl {
namespace {

const Covers covers("RANDOM");

constexpr std::int64_t modulus1 = 2147483563, modulus2 = 2147483399;

// A negative state is that of its remainder.
std::int64_t next(std::int64_t state, std::int64_t multiplier, std::int64_t modulus) {
    return ((state * multiplier) % modulus + modulus) % modulus;
}

std::int64_t scrambled(std::int64_t state, std::int64_t modulus) {
    return state < modulus ? state : static_cast<std::int32_t>(static_cast<std::uint32_t>(state) ^ 0xAACC9933u);
}

std::vector<std::int32_t> plainRandom(std::int32_t seed, std::size_t n) {
    std::int64_t s1 = next(scrambled(seed & 0x7FFFFFFF, modulus1), 40014, modulus1);
    std::int64_t s2 = next(scrambled(s1, modulus2), 40692, modulus2);
    std::vector<std::int32_t> values;
    for (std::size_t i = 0; i <= n; ++i) {
        s1 = next(s1, 40014, modulus1);
        s2 = next(s2, 40692, modulus2);
        if (i > 0) values.push_back(static_cast<std::int32_t>(s1 > s2 ? s1 - s2 : s1 - s2 + modulus1 - 1));
    }
    return values;
}

TEST(Random, ValuesAreThePlainDefinition) {
    const std::vector<std::int32_t> firstOfOne{1804981253, 2036210881, 1392233457, 1746157821};
    EXPECT_EQ(generated<std::int32_t>("RANDOM (0, 1, out)", 4), firstOfOne);
    // Around the moduli; the last three come with their first step around the second modulus and to the end of the first.
    for (const std::int32_t seed : {1, 2, 32767, -1, -2147483647 - 1, -5, 2147483562, 2147483563, 2147483647, 1234567,
                                    57156745, 2139218644, 65421664})
        EXPECT_EQ(generated<std::int32_t>("RANDOM " + list("0", seed, "out"), 3000), plainRandom(seed, 3000));
    for (const std::uint32_t block : {1U, 7U, 15U, 16U, 17U, 1000U})
        EXPECT_EQ(generated<std::int32_t>("RANDOM (0, -7, out)", 3000, {.block = block}), plainRandom(-7, 3000))
            << block;
}

TEST(Random, EachTypeHasItsConversion) {
    std::vector<std::int16_t> top;
    std::vector<float> single;
    std::vector<double> whole;
    for (const std::int32_t z : plainRandom(7, 5000)) {
        top.push_back(static_cast<std::int16_t>(z / 65536));
        whole.push_back(z / 2147483562.0);
        single.push_back(static_cast<float>(whole.back()));
    }
    EXPECT_EQ(generated<std::int16_t>("RANDOM (0, 7, out)", 5000), top);
    EXPECT_EQ(generated<float>("RANDOM (0, 7, out)", 5000), single);
    EXPECT_EQ(generated<double>("RANDOM (0, 7, out)", 5000), whole);
}

TEST(Random, ASeedOfZeroDependsOnTaskAndTime) {
    for (const std::int32_t start : {1, 123456}) {
        TestSession session({.startTime = static_cast<std::uint32_t>(start)});
        const PipeId one = session.output("one", 100), two = session.output("two", 100);
        addCall(session, "RANDOM (0, 0, one)");
        addCall(session, "RANDOM (0, 0:int32, two)");
        session.run();
        EXPECT_EQ(session.collected<std::int32_t>(one), plainRandom(371293 + start, 100));
        EXPECT_EQ(session.collected<std::int32_t>(two), plainRandom(2 * 371293 + start, 100));
    }
}

TEST(Random, ListsAreRefusedAtTheFirstMistake) {
    expectRefused({"RANDOM (1, 1, int16)", "RANDOM (-32768, 1, int16)"}, 7, 1);
    expectRefused({"RANDOM (0:int32, 1, int16)"}, 0, 1);
}

}  // namespace
}  // namespace libzepl
