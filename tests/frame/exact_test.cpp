// Each conversion against its plain definition, over the edges of its types and random bits.

#include "frame/exact.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "tests/support/child_output.h"

namespace zcmds {
namespace {

__extension__ using Int128 = __int128;

template <class Integer>
constexpr Integer least = std::numeric_limits<Integer>::min();
template <class Integer>
constexpr Integer most = std::numeric_limits<Integer>::max();

// The edges of every integer type within `Integer` and their neighbours, and random values of every magnitude.
template <class Integer>
std::vector<Integer> integers() {
    std::vector<Integer> values;
    for (const std::int64_t edge : {std::int64_t{0}, std::int64_t{1} << 15, std::int64_t{1} << 16,
                                    std::int64_t{1} << 31, std::int64_t{1} << 32, most<std::int64_t>})
        for (std::int64_t by = -2; by <= 2; ++by)
            for (const int sign : {-1, 1})
                values.push_back(
                    static_cast<Integer>((static_cast<std::uint64_t>(edge) + static_cast<std::uint64_t>(by)) *
                                         static_cast<std::uint64_t>(sign)));
    std::mt19937_64 random(1);
    for (int i = 0; i < 2000; ++i)
        values.push_back(static_cast<Integer>(static_cast<std::int64_t>(random()) >> (i % 64)));
    return values;
}

// Around every point where a conversion to 32 bits turns, and random bits: NaN, infinities and denormals are among them.
std::vector<double> reals() {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    std::vector<double> values{std::nan(""), -std::nan(""), infinity, 5e-324, 1e300, 0x1p52, 0x1p53 - 1};
    for (const double turn : {0.0, 0.5, 1.0, 1.5, 2.5, 3.5, 32767.5, 65536.0, 0x1p31 - 1.5, 0x1p31 - 1, 0x1p31 - 0.5,
                              0x1p31, 0x1p31 + 0.5, 0x1p31 + 1, 0x1p31 + 1.5, 0x1p32, 0x1p51, 0x1p63})
        for (const double to : {-infinity, turn, infinity}) values.push_back(std::nextafter(turn, to));
    std::mt19937_64 random(2);
    for (int i = 0; i < 20000; ++i) values.push_back(std::bit_cast<double>(random()));
    for (int i = 0; i < 20000; ++i)
        values.push_back(static_cast<double>(static_cast<std::int64_t>(random()) >> (i % 40)) / 65536);
    const std::size_t count = values.size();
    for (std::size_t i = 0; i < count; ++i) values.push_back(-values[i]);
    return values;
}

// The integer that `whole` is, or the most negative one.
std::int32_t heldBy32Bits(double whole) {
    return whole >= -2147483648.0 && whole <= 2147483647.0 ? static_cast<std::int32_t>(whole) : least<std::int32_t>;
}

template <class Integer, class Wider>
void expectSaturated() {
    for (const Wider x : integers<Wider>())
        EXPECT_EQ(saturate<Integer>(x), std::clamp<Int128>(x, least<Integer>, most<Integer>)) << x;
}

template <class Integer, class Wider>
void expectWrapped() {
    constexpr Int128 modulus = Int128{1} << (8 * sizeof(Integer));
    for (const Wider x : integers<Wider>()) {
        const Integer wrapped = wrap<Integer>(x);
        EXPECT_EQ((Int128{x} - wrapped) % modulus, 0) << x;
    }
}

TEST(Exact, AValueBeyondTheTypeIsItsNearestBound) {
    expectSaturated<std::int16_t, std::int16_t>();
    expectSaturated<std::int16_t, std::int32_t>();
    expectSaturated<std::int16_t, std::int64_t>();
    expectSaturated<std::int32_t, std::int64_t>();
}

TEST(Exact, AWrappedValueDiffersByAMultipleOfTheModulus) {
    expectWrapped<std::int16_t, std::int32_t>();
    expectWrapped<std::int16_t, std::int64_t>();
    expectWrapped<std::int32_t, std::int64_t>();
    expectWrapped<std::int32_t, std::uint32_t>();
}

template <class Integer>
void expectWrappingArithmetic() {
    const std::vector<Integer> values = integers<Integer>();
    constexpr Int128 modulus = Int128{1} << (8 * sizeof(Integer));
    for (std::size_t i = 0; i < values.size(); ++i) {
        const Integer a = values[i], b = values[(i * 7 + 3) % values.size()];
        EXPECT_EQ((Int128{a} + b - wrappingSum(a, b)) % modulus, 0) << a << " + " << b;
        EXPECT_EQ((Int128{a} - b - wrappingDifference(a, b)) % modulus, 0) << a << " - " << b;
        EXPECT_EQ((Int128{a} * b - wrappingProduct(a, b)) % modulus, 0) << a << " * " << b;
    }
}

TEST(Exact, SumsAndProductsWrapAtTheirType) {
    expectWrappingArithmetic<std::int32_t>();
    expectWrappingArithmetic<std::int64_t>();
}

TEST(Exact, AQuotientThroughDoubleIsTheIntegers) {
    const std::vector<std::int32_t> values = integers<std::int32_t>();
    for (const std::int32_t divisor : values) {
        if (divisor == 0 || divisor == -1) continue;
        for (const std::int32_t x : values) {
            // The multiple of the divisor and its neighbours are where a rounded quotient would err.
            const std::int64_t multiple = std::int64_t{x} / divisor * divisor;
            for (const std::int64_t dividend : {std::int64_t{x}, multiple - 1, multiple, multiple + 1}) {
                if (dividend < least<std::int32_t> || dividend > most<std::int32_t>) continue;
                ASSERT_EQ(divideThroughDouble(static_cast<std::int32_t>(dividend), divisor), dividend / divisor)
                    << dividend << " / " << divisor;
            }
        }
    }
}

TEST(Exact, RealsConvertAsTheProcessorDoes) {
    for (const double x : reals()) {
        const std::int32_t truncated = heldBy32Bits(std::trunc(x));
        EXPECT_EQ(truncateToInt32(x), truncated) << x;
        EXPECT_EQ(roundToInt32(x), heldBy32Bits(std::nearbyint(x))) << x;
        EXPECT_EQ(truncateTo<std::int32_t>(x), truncated) << x;
        EXPECT_EQ(truncateTo<std::int16_t>(x), static_cast<std::int16_t>(truncated & 0xffff)) << x;
        EXPECT_EQ(std::bit_cast<std::uint64_t>(truncateTo<double>(x)), std::bit_cast<std::uint64_t>(x)) << x;
    }
}

TEST(Exact, FloatsLoseTheirSignAsThroughDouble) {
    for (std::uint32_t top = 0; top < 512; ++top) {  // sign and exponent
        for (const std::uint32_t mantissa : {0x0u, 0x1u, 0x2aaaaau, 0x3fffffu, 0x400000u, 0x400001u, 0x7fffffu}) {
            volatile float x = std::bit_cast<float>(top << 23 | mantissa);
            volatile double wide = static_cast<double>(x);
            volatile double positive = std::fabs(wide);
            const float defined = static_cast<float>(positive);
            EXPECT_EQ(std::bit_cast<std::uint32_t>(quietingAbsolute(x)), std::bit_cast<std::uint32_t>(defined))
                << std::hex << (top << 23 | mantissa);
        }
    }
}

TEST(Exact, ADivisionThatFaultsIsReportedToTheHost) {
    const std::string zero = "RaiseException 3221225620", overflow = "RaiseException 3221225621";
    const std::vector<std::string> with32{"3",  "-3", "-3", "-2147483648", overflow, "2147483647",
                                          zero, zero, zero, "-2147483647", "0",      "1"};
    const std::vector<std::string> with64{"3",  "-3", "-3", "-9223372036854775808", overflow, "9223372036854775807",
                                          zero, zero, zero, "-9223372036854775807", "0",      "1"};
    std::vector<std::string> all = with32;
    all.insert(all.end(), with64.begin(), with64.end());
    EXPECT_EQ(libzepl::sceneOf("divide -"), all);
}

}  // namespace
}  // namespace zcmds
