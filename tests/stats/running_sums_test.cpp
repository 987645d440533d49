// BINTEGRATE, INTEGRATE, RAVERAGE and RSUM against a plain running sum, element by element.

#include <cmath>
#include <deque>

#include "tests/support/call.h"
#include "tests/support/covered.h"
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

std::int32_t count(std::uint32_t value) { return static_cast<std::int32_t>(value); }

template <class Element>
std::vector<Element> runningSums(const std::vector<Element>& source, Element divisor, Options options) {
    std::string call = "RSUM (in, " + written(count(options.decim)) + ", " + written(divisor);
    if (options.window != 0) call += ", " + written(count(options.window));
    call += ", out";
    if (options.reset != 0) call += ", " + written(count(options.reset));
    return resultOf<Element>(call + ")", source);
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

TYPED_TEST(RunningSums, RsumIsThePlainRunningSum) {
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

TYPED_TEST(RunningSums, IntegralsAreThePlainRunningSum) {
    const std::vector<TypeParam> source = samplesFor<TypeParam>();
    for (const std::uint32_t n : {1U, 3U, 256U, 257U, 1000U})
        EXPECT_EQ(bitsOf(resultOf<TypeParam>("BINTEGRATE " + list("in", "out", count(n)), source)),
                  bitsOf(plainSums<TypeParam>(source, 1, {n, n})));
    for (const std::uint32_t n : {0U, 1U, 3U, 256U, 257U, 1000U})
        EXPECT_EQ(bitsOf(resultOf<TypeParam>("INTEGRATE " + list("in", "out", count(n)), source)),
                  bitsOf(plainSums<TypeParam>(source, 1, {1, n})));
    EXPECT_EQ(bitsOf(resultOf<TypeParam>("INTEGRATE (in, out)", source)), bitsOf(plainSums<TypeParam>(source, 1, {})));
}

TYPED_TEST(RunningSums, AveragesAreThePlainRunningSumOverTheWindow) {
    const std::vector<TypeParam> source = samplesFor<TypeParam>();
    for (const std::int32_t window : {1, 2, 3, 4, 5, 256, 1001, 3001, 4501, 7000}) {
        const auto dropped = std::min<std::ptrdiff_t>(window - (window >> 1) - 1, 3001);
        const std::vector<TypeParam> rest(source.begin() + dropped, source.end());
        const auto expected =
            plainSums<TypeParam>(rest, static_cast<TypeParam>(window), {1, 0, static_cast<std::uint32_t>(window)});
        for (const std::string ignored : {"", ", 50"})
            EXPECT_EQ(bitsOf(resultOf<TypeParam>("RAVERAGE " + list("in", window, "out" + ignored), source)),
                      bitsOf(expected))
                << window;
    }
}

TEST(RunningSumsEdges, AnIntegralOfInt16AsInt32Wraps) {
    const Int16s least(70000, -32768);  // their sum passes 32 bits
    EXPECT_EQ(resultOf<std::int32_t>("INTEGRATE (in, out)", least), plainSums<std::int32_t>(least, 1, {}));
    EXPECT_EQ(resultOf<std::int32_t>("BINTEGRATE (in, out, 2:int32)", least),
              plainSums<std::int32_t>(least, 1, {2, 2}));
}

TEST(RunningSumsEdges, TheDivisorIsReadAtItsOwnWidth) {
    EXPECT_EQ(resultOf<std::int32_t>("RSUM (in, 1, -2, out)", Int32s{10}), Int32s{-5});
    EXPECT_EQ(resultOf<std::int32_t>("RSUM (in, 1, variable:int16 = 3, out)", Int32s{7, 8}), (Int32s{2, 5}));
    // 40000 is -25536 in 16 bits.
    EXPECT_EQ(resultOf<std::int16_t>("RAVERAGE (in, 40000:int32, out)", Int16s(50000, 32767)),
              plainSums<std::int16_t>(Int16s(50000 - 19999, 32767), -25536, {1, 0, 40000}));
}

TEST(RunningSumsEdges, ASumPast52BitsIsDividedExactly) {
    // Multiples of the divisor less 1, past 2^53 in the end, where the nearest double is the multiple.
    constexpr std::int32_t divisor = 2147483647;
    Int32s source((1 << 22) + 5000, divisor);
    --source[0];
    EXPECT_EQ(runningSums(source, divisor, {}), plainSums<std::int32_t>(source, divisor, {}));
}

TEST(RunningSumsEdges, FloatsAreHeldAtTheirLimitsAndDoublesAreNot) {
    constexpr float most = std::numeric_limits<float>::max();
    const std::vector<float> floats{1, most, most, -most, -most, -most, -most, INFINITY, -INFINITY};
    for (const float divisor : {1.0F, 0.0F})
        EXPECT_EQ(bitsOf(runningSums(floats, divisor, {})), bitsOf(plainSums<float>(floats, divisor, {})));
    EXPECT_EQ(runningSums<double>({1, -2}, 0, {}), (std::vector<double>{INFINITY, -INFINITY}));
}

TEST(RunningSumsFaults, ADivisionByZeroFaultsAtItsFirstOutput) {
    const auto stateOf = [](const std::string& call, const Input& in) {
        const Call made(call, {in});
        EXPECT_EQ(made.report.pipes[1].written, 0U) << call;
        return made.state;
    };
    for (const auto& [arguments, state] :
         {std::pair("(in, 3000, 0, ", "fault code 3221225620"), {"(in, 3001, 0, ", "waiting"}}) {
        EXPECT_EQ(stateOf(std::string("RSUM ") + arguments + "out:int16)", {"in", Int16s(3000)}), state);
        EXPECT_EQ(stateOf(std::string("RSUM ") + arguments + "out:int32)", {"in", Int32s(3000)}), state);
    }
    EXPECT_EQ(stateOf("RAVERAGE (in, 65536:int32, out:int16)", {"in", Int16s(40000)}), "fault code 3221225620");
}

TEST(RunningSumsFaults, AQuotientPast32BitsLosesItsTransferAlone) {
    // The sum is -2^31 at the last element of the 256th transfer of 256.
    const FeedPolicy whole{.kind = FeedPolicy::Kind::whole};
    const Call call("RSUM (in, 1, -1, out:int16)", {{"in", Int16s(70000, -32768)}}, {.feed = whole});
    EXPECT_EQ(call.state, "fault code 3221225621");
    EXPECT_EQ(call.taken<std::int16_t>(), Int16s(65536 - 256, 32767));
}

TEST(RunningSumsParameters, ListsAreRefusedAtTheFirstMistake) {
    for (const std::string command : {"BINTEGRATE", "INTEGRATE"}) {
        expectReady({command + " (int16, int16, 1)", command + " (int16, int32, 100000:int32)"});
        expectRefused({command + " (int32, int16, -1)", command + " (int16, float, 1)"}, 3, 2);
        expectRefused({command + " (int16, int16, -1)"}, 6, 3);
        expectRefused({command + " (float, float, 1.0)"}, 0, 3);
        expectRefused({command + " (int16, int16, 1, 1)"}, 0, 4);
    }
    expectRefused({"BINTEGRATE (int16, int16, 0)"}, 6, 3);
    expectRefused({"BINTEGRATE (int16, int16)", "BINTEGRATE (int16, int16, trigger)"}, 0, 3);
    expectReady({"INTEGRATE (int16, int16, 0)", "INTEGRATE (int16, int16)"});
    expectRefused({"INTEGRATE (int16, int16, trigger)"}, 10, 3);
    expectRefused({"INTEGRATE (int16, float, trigger)"}, 3, 2);
    expectReady({"RAVERAGE (int16, 1, int16)", "RAVERAGE (int16, 1, int16, -1)"});
    expectRefused({"RAVERAGE (int16, 0, int32)"}, 3, 3);
    expectRefused({"RAVERAGE (int16, 0, int16)", "RAVERAGE (float, -1, float, 1)"}, 6, 2);
    expectRefused({"RAVERAGE (int16, 1, int16, int16)"}, 0, 4);
    expectReady({"RSUM (int16, 1, 1, int16)", "RSUM (int32, 1, 1, 1, int32)", "RSUM (float, 1, 1.0:float, float, 1)"});
    expectRefused({"RSUM (int16, 0, 100000:int32, int16, trigger)", "RSUM (int16, 1, 1, int16, int16)"}, 10, 5);
    expectRefused({"RSUM (int16, 0, 100000:int32, float)"}, 6, 2);
    expectRefused({"RSUM (int16, 1, 100000:int32, float)", "RSUM (float, 1, 1.0, 1)"}, 3, 3);
    expectRefused({"RSUM (int16, 1, 1, 1)"}, 10, 4);
    expectRefused({"RSUM (int16, 1, 1, float)", "RSUM (int16, 1, 1, float, -1)"}, 3, 4);
    expectRefused({"RSUM (int16, 1, 1, -1, float)", "RSUM (int16, 1, 1, 0, float)", "RSUM (int16, 1, 1, 1, 1)"}, 3, 5);
    expectRefused({"RSUM (int16, 1, 1, -2147483648:int32, int16)"}, 6, 4);
    expectRefused({"RSUM (int16, 1, 1, int16, -1)"}, 6, 5);
    expectRefused({"RSUM (int16, 1, 1)"}, 0, 4);
}

}  // namespace
}  // namespace libzepl
