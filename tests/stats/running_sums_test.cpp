// BINTEGRATE, INTEGRATE, RAVERAGE and RSUM against a plain running sum, element by element, however the input arrives.

#include <cmath>
#include <deque>

#include "tests/stats/stats_support.h"

namespace libzepl {
namespace {

const Covers bintegrate("BINTEGRATE"), integrate("INTEGRATE"), raverage("RAVERAGE"), rsum("RSUM");

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

TaskArgument count(std::uint32_t value) { return int32Constant(static_cast<std::int32_t>(value)); }
TaskArgument scalar(std::int16_t value) { return int16Constant(value); }
TaskArgument scalar(std::int32_t value) { return int32Constant(value); }
TaskArgument scalar(float value) { return floatConstant(value); }
TaskArgument scalar(double value) { return doubleConstant(value); }

template <class Element>
std::vector<Element> runningSums(const std::vector<Element>& source, Element divisor, Options options) {
    Arguments before{count(options.decim), scalar(divisor)}, behind;
    if (options.window != 0) before.push_back(count(options.window));
    if (options.reset != 0) behind.push_back(count(options.reset));
    return resultOf<Element>("RSUM", source, before, behind);
}

template <class Element>
class RunningSums : public testing::Test {};
using Elements = testing::Types<std::int16_t, std::int32_t, float, double>;
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
    for (const std::uint32_t n : {1U, 3U, 256U, 257U, 1000U}) {
        EXPECT_EQ(bitsOf(resultOf<TypeParam>("BINTEGRATE", source, {}, {count(n)})),
                  bitsOf(plainSums<TypeParam>(source, 1, {n, n})));
        EXPECT_EQ(bitsOf(resultOf<TypeParam>("INTEGRATE", source, {}, {count(n)})),
                  bitsOf(plainSums<TypeParam>(source, 1, {1, n})));
    }
    EXPECT_EQ(bitsOf(resultOf<TypeParam>("INTEGRATE", source, {})), bitsOf(plainSums<TypeParam>(source, 1, {})));
}

TYPED_TEST(RunningSums, AnAverageDiffersFromThePlainDefinition) {
    const std::vector<TypeParam> source = samplesFor<TypeParam>();
    for (const std::int32_t window : {1, 2, 3, 4, 5, 256, 1001, 3001, 4501, 7000}) {
        const auto dropped = std::min<std::ptrdiff_t>(window - (window >> 1) - 1, 3001);
        const std::vector<TypeParam> rest(source.begin() + dropped, source.end());
        EXPECT_EQ(bitsOf(resultOf<TypeParam>("RAVERAGE", source, {scalar(window)})),
                  bitsOf(plainSums<TypeParam>(rest, static_cast<TypeParam>(window),
                                              {1, 0, static_cast<std::uint32_t>(window)})))
            << window;
    }
}

using Int16s = std::vector<std::int16_t>;
using Int32s = std::vector<std::int32_t>;

TEST(RunningSumsEdges, AShortStreamGivesOtherSums) {
    const struct {
        const char* command;
        Int16s source;
        Arguments before, behind;
        Int16s results;
    } cases[] = {
        {"BINTEGRATE", {1, 2, 3, 4, 5, 6, 7}, {}, {scalar(int16Value(3))}, {6, 15}},
        {"INTEGRATE", {1, 2, 3}, {}, {}, {1, 3, 6}},
        {"INTEGRATE", {1, 2, 3, 4}, {}, {count(2)}, {1, 3, 3, 7}},
        {"INTEGRATE", {30000, 30000, -32768, -32768, -32768}, {}, {count(0)}, {30000, 32767, 27232, -5536, -32768}},
        {"RAVERAGE", {99, 4, 8, 12, 16, 20}, {scalar(int16Value(4))}, {}, {1, 3, 6, 10, 14}},
        {"RAVERAGE", {-5, 7, 9}, {count(1)}, {scalar(int16Value(50))}, {-5, 7, 9}},
        {"RSUM", {1, 2, 3, 4, 5}, {count(2), scalar(int16Value(1))}, {}, {3, 10}},
        {"RSUM", {1, 2, 3}, {count(1), scalar(int16Value(1)), count(2)}, {}, {1, 3, 5}},
        {"RSUM", {1, 2, 3}, {count(1), scalar(int16Value(-2)), count(0)}, {}, {0, -1, -3}},
        // What leaves the window as -32768 is added once more; only a divisor shows it below the clamp.
        {"RSUM", {-32768, 0, 5}, {count(1), scalar(int16Value(4)), count(1)}, {}, {-8192, -16384, -16382}},
    };
    for (const auto& [command, source, before, behind, results] : cases)
        EXPECT_EQ(resultOf<std::int16_t>(command, source, before, behind), results) << command;
}

TEST(RunningSumsEdges, AnIntegralOfInt16AsInt32IsClampedOrWrapsElsewhere) {
    EXPECT_EQ(resultOf<std::int32_t>("INTEGRATE", Int16s{30000, 30000, 30000}, {}), (Int32s{30000, 60000, 90000}));
    EXPECT_EQ(resultOf<std::int32_t>("BINTEGRATE", Int16s{-32768, -32768, 1, 2}, {}, {count(2)}), (Int32s{-65536, 3}));
    const Int16s least(65537, -32768);
    const Int32s sums = resultOf<std::int32_t>("INTEGRATE", least, {});
    EXPECT_EQ(sums[65535], std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(sums[65536], std::numeric_limits<std::int32_t>::max() - 32767);
}

TEST(RunningSumsEdges, AnotherWidthOfTheDivisorIsRead) {
    EXPECT_EQ(resultOf<std::int32_t>("RSUM", Int32s{10}, {count(1), scalar(int16Value(-2))}), Int32s{-5});
    // 40000 is -25536 in 16 bits.
    EXPECT_EQ(resultOf<std::int16_t>("RAVERAGE", Int16s(50000, 32767), {count(40000)}),
              plainSums<std::int16_t>(Int16s(50000 - 19999, 32767), -25536, {1, 0, 40000}));
    TestSession session;
    const std::int16_t three = 3;
    const PipeId from = session.input("source", Int32s{7, 8}), to = session.output("sums");
    session.task("RSUM", from, count(1), session.addVariable("divisor", ElementType::int16, &three), to);
    session.run();
    EXPECT_EQ(session.collected<std::int32_t>(to), (Int32s{2, 5}));
}

TEST(RunningSumsEdges, ASumPast52BitsIsDividedAsItsDouble) {
    // Multiples of the divisor less 1, past 2^53 in the end, where the nearest double is the multiple.
    constexpr std::int32_t divisor = 2147483647;
    Int32s source((1 << 22) + 5000, divisor);
    --source[0];
    EXPECT_EQ(runningSums(source, divisor, {}), plainSums<std::int32_t>(source, divisor, {}));
}

TEST(RunningSumsEdges, AFloatIsNotHeldAtItsLimitsOrADoubleIs) {
    constexpr float most = std::numeric_limits<float>::max(), infinity = INFINITY;
    const auto sums = runningSums<float>({most, most, -most, -most, -most, -most, infinity, -infinity}, 1, {});
    EXPECT_EQ(Lines({std::to_string(sums[1]), std::to_string(sums[5]), std::to_string(sums[6])}),
              Lines({std::to_string(most), std::to_string(-most), std::to_string(most)}));
    EXPECT_TRUE(std::isnan(sums[7]));
    EXPECT_EQ(runningSums<float>({1, -2}, 0, {}), (std::vector<float>{most, -most}));
    EXPECT_EQ(runningSums<double>({1, -2}, 0, {}), (std::vector<double>{INFINITY, -INFINITY}));
}

TEST(RunningSumsFaults, ADivisionByZeroGivesAResultOrFaultsBeforeAnOutput) {
    std::string state;
    for (const auto& [decim, outcome] : {std::pair(3000, "fault code 3221225620"), {3001, "waiting"}}) {
        EXPECT_EQ(resultOf<std::int16_t>("RSUM", Int16s(3000), {scalar(decim), scalar(int16Value(0))}, {}, {}, &state),
                  Int16s{});
        EXPECT_EQ(state, outcome);
        resultOf<std::int32_t>("RSUM", Int32s(3000), {scalar(decim), scalar(int16Value(0))}, {}, {}, &state);
        EXPECT_EQ(state, outcome);
    }
    resultOf<std::int16_t>("RAVERAGE", Int16s(40000), {scalar(65536)}, {}, {}, &state);
    EXPECT_EQ(state, "fault code 3221225620");
}

TEST(RunningSumsFaults, AQuotientPast32BitsKeepsItsTransferOrLosesAnEarlierOne) {
    std::string state;
    // The sum is -2^31 at the last element of the 256th transfer of 256.
    const auto results = resultOf<std::int16_t>("RSUM", Int16s(70000, -32768), {count(1), scalar(int16Value(-1))}, {},
                                                {.kind = FeedPolicy::Kind::whole}, &state);
    EXPECT_EQ(state, "fault code 3221225621");
    EXPECT_EQ(results, Int16s(65536 - 256, 32767));
}

TEST(RunningSumsParameters, AnIntegralTakesAnotherList) {
    for (const char* command : {"BINTEGRATE", "INTEGRATE"})
        expectOutcomes(command, {{"waiting", {"s s 1", "s i 100000"}},
                                 {"error code 3 at 2", {"i s -1", "s f 1"}},
                                 {"error code 6 at 3", {"s s -1"}},
                                 {"refused at 3", {"f f 1.0"}},
                                 {"refused at 4", {"s s 1 1"}}});
    expectOutcomes("BINTEGRATE", {{"error code 6 at 3", {"s s 0"}}, {"refused at 3", {"s s", "s s t"}}});
    expectOutcomes(
        "INTEGRATE",
        {{"waiting", {"s s 0", "s s"}}, {"error code 10 at 3", {"s s t"}}, {"error code 3 at 2", {"s f t"}}});
}

TEST(RunningSumsParameters, AnAverageTakesAnotherList) {
    expectOutcomes("RAVERAGE", {{"waiting", {"s 1 s", "s 1 s -1"}},
                                {"error code 3 at 3", {"s 0 i"}},
                                {"error code 6 at 2", {"s 0 s", "f -1 f 1"}},
                                {"refused at 4", {"s 1 s s"}}});
}

TEST(RunningSumsParameters, ASumTakesAnotherList) {
    expectOutcomes("RSUM", {{"waiting", {"s 1 1 s", "i 1 1 1 i", "f 1 1.0f f 1"}},
                            {"error code 10 at 5", {"s 0 100000 s t", "s 1 1 s s"}},
                            {"error code 6 at 2", {"s 0 100000 f"}},
                            {"error code 3 at 3", {"s 1 100000 f", "f 1 1.0 1"}},
                            {"error code 10 at 4", {"s 1 1 1"}},
                            {"error code 3 at 4", {"s 1 1 f", "s 1 1 f -1"}},
                            {"error code 6 at 4", {"s 1 1 -1 f", "s 1 1 -2147483648 s"}},
                            {"error code 3 at 5", {"s 1 1 0 f", "s 1 1 1 1"}},
                            {"error code 6 at 5", {"s 1 1 s -1"}},
                            {"refused at 4", {"s 1 1"}}});
}

}  // namespace
}  // namespace libzepl
