// The integer square roots against Newton's method as it defines them.

#include "frame/integer_sqrt.h"

#include <gtest/gtest.h>

#include <bit>
#include <limits>
#include <random>

namespace zcmds {
namespace {

// In the unsigned type of the value's width, in which the first estimate of the greatest values does not overflow.
template <class Unsigned>
Unsigned newton(std::make_signed_t<Unsigned> signedValue) {
    if (signedValue < 1) return 0;
    const auto value = static_cast<Unsigned>(signedValue);
    const auto half = static_cast<int>(std::bit_width(value) >> 1);
    Unsigned e = ((value >> half) + value + (Unsigned{1} << half)) >> 1;
    for (;;) {
        const Unsigned next = (e + value / e) >> 1;
        if (next >= e) return e;
        e = next;
    }
}

void expect32(std::int64_t value) {
    const auto x = static_cast<std::int32_t>(value);
    ASSERT_EQ(integerSqrt32(x), newton<std::uint32_t>(x)) << x;
}
void expect64(std::int64_t value) { ASSERT_EQ(integerSqrt64(value), newton<std::uint64_t>(value)) << value; }

TEST(IntegerSqrt, RootsOf32BitsAroundSquaresAreNewtons) {
    for (std::int64_t root = 0; root <= 46340; ++root)
        for (std::int64_t by = -1; by <= 1; ++by) expect32(root * root + by);
    for (const std::int32_t value : {std::numeric_limits<std::int32_t>::min(), -65536, 2147352578, 2147483647})
        expect32(value);
    EXPECT_EQ(integerSqrt32(2147483647), 46340);
}

TEST(IntegerSqrt, RootsOf64BitsAroundSquaresAreNewtons) {
    constexpr std::int64_t greatest = 3037000499;
    std::mt19937_64 random(3);
    for (int i = 0; i < 20000; ++i) {
        const std::int64_t root = i < 1000 ? greatest - i : static_cast<std::int64_t>(random() >> (33 + i % 31));
        for (std::int64_t by = -1; by <= 1; ++by) expect64(root * root + by);
    }
    for (int i = 0; i < 20000; ++i) expect64(static_cast<std::int64_t>(random()) >> (i % 63));
    for (const std::int64_t value : {std::numeric_limits<std::int64_t>::min(), std::int64_t{-1}, std::int64_t{1} << 62,
                                     std::numeric_limits<std::int64_t>::max()})
        expect64(value);
    EXPECT_EQ(integerSqrt64(greatest * greatest), greatest);
    EXPECT_EQ(integerSqrt64(greatest * greatest - 1), greatest - 1);
}

}  // namespace
}  // namespace zcmds
