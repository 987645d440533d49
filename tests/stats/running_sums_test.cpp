// BINTEGRATE, INTEGRATE, RAVERAGE and RSUM against a plain running sum, element by element.

#include <cmath>
#include <deque>

#include "tests/support/covered.h"
#include "tests/support/given.h"
#include "tests/support/samples.h"

namespace libzepl {
namespace {

const Covers bintegrate("BINTEGRATE"), integrate("INTEGRATE"), raverage("RAVERAGE"), rsum("RSUM");

using Int16s = std::vector<std::int16_t>;
using Int32s = std::vector<std::int32_t>;

struct Options {
    std::uint32_t decim = 1, reset = 0, window = 0;
};

// Sums of int16 wrap in 32 bits, of int32 in 64.
template <class Element>
using SumOf = std::conditional_t<sizeof(Element) == 2, std::uint32_t,
                                 std::conditional_t<std::is_integral_v<Element>, std::uint64_t, double>>;

template <class Element>
SumOf<Element> withoutOld(SumOf<Element> sum, Element old) {
    if constexpr (sizeof(Element) == 2)
        return sum + (old == -32768 ? static_cast<SumOf<Element>>(-32768) : static_cast<SumOf<Element>>(-old));
    else
        return sum - static_cast<SumOf<Element>>(old);
}

template <class Result, class Element, class Divisor>
Result plainQuotient(SumOf<Element> sum, Divisor divisor) {
    if constexpr (std::is_integral_v<Element>) {
        const std::int64_t total = static_cast<std::make_signed_t<SumOf<Element>>>(sum), quotient = total / divisor;
        constexpr std::int64_t low = std::numeric_limits<Result>::min(), high = std::numeric_limits<Result>::max();
        return static_cast<Result>(std::min(std::max(quotient, low), high));
    } else {
        constexpr double most = std::numeric_limits<Result>::max();
        const double quotient = sum / divisor;
        if (sizeof(Result) == 4 && std::fabs(quotient) >= most)
            return static_cast<Result>(std::copysign(most, quotient));
        return static_cast<Result>(quotient);
    }
}

template <class Result, class Element, class Divisor>
std::vector<Result> plainSums(const std::vector<Element>& source, Divisor divisor, Options options) {
    std::vector<Result> results;
    std::deque<Element> window;
    SumOf<Element> sum = 0;
    std::uint32_t inputs = 0, sinceReset = 0;
    for (const Element x : source) {
        sum += static_cast<SumOf<Element>>(x);
        if (options.window != 0) window.push_back(x);
        if (window.size() > options.window) {
            sum = withoutOld(sum, window.front());
            window.pop_front();
        }
        if (++inputs % options.decim != 0) continue;
        results.push_back(plainQuotient<Result, Element>(sum, divisor));
        if (options.reset == 0) continue;
        sinceReset += options.decim;
        if (sinceReset < options.reset) continue;
        sinceReset -= options.reset;
        sum = 0;
    }
    return results;
}

TaskArgument count(std::uint32_t value) { return constant(static_cast<std::int32_t>(value)); }

template <class Element>
std::vector<Element> runningSums(const std::vector<Element>& source, Element divisor, Options options) {
    std::vector<TaskArgument> before{count(options.decim), constant(divisor)}, behind;
    if (options.window != 0) before.push_back(count(options.window));
    if (options.reset != 0) behind.push_back(count(options.reset));
    return resultOf<Element>("RSUM", source, before, behind);
}

template <class Element>
class RunningSums : public testing::Test {};
TYPED_TEST_SUITE(RunningSums, Elements);

template <class Element>
std::vector<Element> samplesFor() {
    std::vector<Element> source = randomSamples<Element>(3001, 4);
    std::fill_n(source.begin() + 1000, 700, std::numeric_limits<Element>::lowest());
    return source;
}

TYPED_TEST(RunningSums, AnRsumDiffersFromThePlainDefinition) {
    const std::vector<TypeParam> source = samplesFor<TypeParam>();
    const Options all[] = {{},        {2},           {7},          {255},       {256},       {300},
                           {1, 3},    {2, 3},        {5, 3},       {10, 10},    {3, 1000},   {1, 257},
                           {1, 0, 1}, {1, 0, 2},     {1, 0, 255},  {1, 0, 256}, {1, 0, 257}, {1, 0, 600},
                           {3, 0, 5}, {300, 0, 100}, {7, 0, 2999}, {1, 0, 4000}};
    const auto least = std::numeric_limits<TypeParam>::lowest();
    for (const Options& options : all)
        for (const TypeParam divisor :
             {TypeParam(1), TypeParam(-1), TypeParam(3), TypeParam(-7), TypeParam(1000), least})
            EXPECT_EQ(bitsOf(runningSums(source, divisor, options)),
                      bitsOf(plainSums<TypeParam>(source, divisor, options)))
                << options.decim << " " << options.reset << " " << options.window << " by " << divisor;
}

TYPED_TEST(RunningSums, AnIntegralDiffersFromThePlainDefinition) {
    const std::vector<TypeParam> source = samplesFor<TypeParam>();
    for (const std::uint32_t n : {1U, 3U, 256U, 257U, 1000U})
        EXPECT_EQ(bitsOf(resultOf<TypeParam>("BINTEGRATE", source, {}, {count(n)})),
                  bitsOf(plainSums<TypeParam>(source, 1, {n, n})));
    for (const std::uint32_t n : {0U, 1U, 3U, 256U, 257U, 1000U})
        EXPECT_EQ(bitsOf(resultOf<TypeParam>("INTEGRATE", source, {}, {count(n)})),
                  bitsOf(plainSums<TypeParam>(source, 1, {1, n})));
    EXPECT_EQ(bitsOf(resultOf<TypeParam>("INTEGRATE", source, {})), bitsOf(plainSums<TypeParam>(source, 1, {})));
}

TYPED_TEST(RunningSums, AnAverageDiffersFromThePlainDefinition) {
    const std::vector<TypeParam> source = samplesFor<TypeParam>();
    for (const std::int32_t window : {1, 2, 3, 4, 5, 256, 1001, 3001, 4501, 7000}) {
        const auto dropped = std::min<std::ptrdiff_t>(window - (window >> 1) - 1, 3001);
        const std::vector<TypeParam> rest(source.begin() + dropped, source.end());
        const auto expected =
            plainSums<TypeParam>(rest, static_cast<TypeParam>(window), {1, 0, static_cast<std::uint32_t>(window)});
        for (const char* ignored : {"", "50"})
            EXPECT_EQ(bitsOf(resultOf<TypeParam>("RAVERAGE", source, {constant(window)}, ignored)), bitsOf(expected))
                << window;
    }
}

TEST(RunningSumsEdges, AnIntegralOfInt16AsInt32IsClampedOrWrapsElsewhere) {
    const Int16s least(70000, -32768);  // their sum passes 32 bits
    EXPECT_EQ(resultOf<std::int32_t>("INTEGRATE", least, {}), plainSums<std::int32_t>(least, 1, {}));
    EXPECT_EQ(resultOf<std::int32_t>("BINTEGRATE", least, {}, {count(2)}), plainSums<std::int32_t>(least, 1, {2, 2}));
}

TEST(RunningSumsEdges, AnotherWidthOfTheDivisorIsRead) {
    EXPECT_EQ(resultOf<std::int32_t>("RSUM", Int32s{10}, "1 -2"), Int32s{-5});
    EXPECT_EQ(resultOf<std::int32_t>("RSUM", Int32s{7, 8}, "1 =3"), (Int32s{2, 5}));
    // 40000 is -25536 in 16 bits.
    EXPECT_EQ(resultOf<std::int16_t>("RAVERAGE", Int16s(50000, 32767), "40000l"),
              plainSums<std::int16_t>(Int16s(50000 - 19999, 32767), -25536, {1, 0, 40000}));
}

TEST(RunningSumsEdges, ASumPast52BitsIsDividedAsItsDouble) {
    // Multiples of the divisor less 1, past 2^53 in the end, where the nearest double is the multiple.
    constexpr std::int32_t divisor = 2147483647;
    Int32s source((1 << 22) + 5000, divisor);
    --source[0];
    EXPECT_EQ(runningSums(source, divisor, {}), plainSums<std::int32_t>(source, divisor, {}));
}

TEST(RunningSumsEdges, AFloatIsNotHeldAtItsLimitsOrADoubleIs) {
    constexpr float most = std::numeric_limits<float>::max();
    const std::vector<float> floats{1, most, most, -most, -most, -most, -most, INFINITY, -INFINITY};
    for (const float divisor : {1.0F, 0.0F})
        EXPECT_EQ(bitsOf(runningSums(floats, divisor, {})), bitsOf(plainSums<float>(floats, divisor, {})));
    EXPECT_EQ(runningSums<double>({1, -2}, 0, {}), (std::vector<double>{INFINITY, -INFINITY}));
}

TEST(RunningSumsFaults, ADivisionByZeroGivesAResultOrFaultsBeforeAnOutput) {
    const auto stateOf = [](const char* command, const auto& source, const std::string& before) {
        std::string state;
        using Element = typename std::decay_t<decltype(source)>::value_type;
        EXPECT_TRUE(resultOf<Element>(command, source, before, {}, {}, &state).empty());
        return state;
    };
    for (const auto& [decimAndDivisor, state] : {std::pair("3000 0", "fault code 3221225620"), {"3001 0", "waiting"}}) {
        EXPECT_EQ(stateOf("RSUM", Int16s(3000), decimAndDivisor), state);
        EXPECT_EQ(stateOf("RSUM", Int32s(3000), decimAndDivisor), state);
    }
    EXPECT_EQ(stateOf("RAVERAGE", Int16s(40000), "65536l"), "fault code 3221225620");
}

TEST(RunningSumsFaults, AQuotientPast32BitsKeepsItsTransferOrLosesAnEarlierOne) {
    std::string state;
    // The sum is -2^31 at the last element of the 256th transfer of 256.
    const FeedPolicy whole{.kind = FeedPolicy::Kind::whole};
    const auto results = resultOf<std::int16_t>("RSUM", Int16s(70000, -32768), "1 -1", {}, {.feed = whole}, &state);
    EXPECT_EQ(state, "fault code 3221225621");
    EXPECT_EQ(results, Int16s(65536 - 256, 32767));
}

TEST(RunningSumsParameters, AnotherListIsTaken) {
    for (const char* command : {"BINTEGRATE", "INTEGRATE"})
        expectSetUps(command,
                     "ready: i16 i16 1; ready: i16 i32 100000l; 3 at 2: i32 i16 -1; 3 at 2: i16 f32 1; "
                     "6 at 3: i16 i16 -1; refused at 3: f32 f32 1.0; refused at 4: i16 i16 1 1");
    expectSetUps("BINTEGRATE", "6 at 3: i16 i16 0; refused at 3: i16 i16; refused at 3: i16 i16 event");
    expectSetUps("INTEGRATE", "ready: i16 i16 0; ready: i16 i16; 10 at 3: i16 i16 event; 3 at 2: i16 f32 event");
    expectSetUps("RAVERAGE",
                 "ready: i16 1 i16; ready: i16 1 i16 -1; 3 at 3: i16 0 i32; 6 at 2: i16 0 i16; "
                 "6 at 2: f32 -1 f32 1; refused at 4: i16 1 i16 i16");
    expectSetUps("RSUM",
                 "ready: i16 1 1 i16; ready: i32 1 1 1 i32; ready: f32 1 1.0f f32 1; 10 at 5: i16 0 100000l i16 event; "
                 "10 at 5: i16 1 1 i16 i16; 6 at 2: i16 0 100000l f32; 3 at 3: i16 1 100000l f32; "
                 "3 at 3: f32 1 1.0 1; 10 at 4: i16 1 1 1; 3 at 4: i16 1 1 f32; 3 at 4: i16 1 1 f32 -1; "
                 "3 at 5: i16 1 1 -1 f32; 6 at 4: i16 1 1 -2147483648l i16; 3 at 5: i16 1 1 0 f32; "
                 "3 at 5: i16 1 1 1 1; 6 at 5: i16 1 1 i16 -1; refused at 4: i16 1 1");
}

}  // namespace
}  // namespace libzepl
