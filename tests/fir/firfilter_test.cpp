// FIRFILTER against direct sums: the filter's equation, and from the second pass on the buffer that its passes leave.

#include <algorithm>
#include <bit>

#include "tests/fir/fir_support.h"
#include "tests/support/arrivals.h"
#include "tests/support/covered.h"

namespace libzepl {
namespace {

const Covers covers("FIRFILTER");

// A row of the table of loops.
template <class SourceType, class CoefficientType, class DestinationType, class SumType>
struct Loop {
    using Source = SourceType;
    using Coefficient = CoefficientType;
    using Destination = DestinationType;
    using Sum = SumType;
};
using I16 = std::int16_t;
using I32 = std::int32_t;
using Loops =
    testing::Types<Loop<I16, float, I16, float>, Loop<I16, float, I32, double>, Loop<I16, float, float, float>,
                   Loop<I16, float, double, double>, Loop<I32, double, I16, double>, Loop<I32, double, I32, double>,
                   Loop<I32, double, float, double>, Loop<I32, double, double, double>, Loop<float, float, I16, float>,
                   Loop<float, float, I32, double>, Loop<float, float, float, double>,
                   Loop<float, float, double, double>, Loop<double, double, I16, double>,
                   Loop<double, double, I32, double>, Loop<double, double, float, double>,
                   Loop<double, double, double, double>>;

// Taps whose sums pass the ends of the integer types now and then.
template <class Coefficient>
std::vector<Filter<Coefficient>> someFilters() {
    std::mt19937 random(11);
    std::vector<Filter<Coefficient>> filters;
    const std::int32_t shapes[][4] = {{1, 1, 0, 0},    {1, 32, 0, 0},   {2, 2, 1, 1},   {9, 1, 1, -1},
                                      {8, 3, 7, 0},    {39, 8, 1, 38},  {40, 5, 3, 11}, {129, 1, 5, 64},
                                      {65, 16, 12, 7}, {311, 2, 310, 3}};
    for (const auto& [length, nchans, decimation, align] : shapes) {
        Filter<Coefficient> filter{{}, nchans, decimation, align};
        for (std::int32_t k = 0; k < length; ++k)
            filter.taps.push_back((static_cast<Coefficient>(random()) / 4294967296 - Coefficient{0.375}) * 4);
        filters.push_back(filter);
    }
    return filters;
}

template <class Destination, class Source, class Coefficient>
std::vector<Destination> filteredBy(const Filter<Coefficient>& filter, const std::vector<Source>& x,
                                    FeedPolicy feed = wholeFeed) {
    TestSession session({.feed = feed});
    return filtered<Destination>(session, "FIRFILTER", x, filter.parameters(session));
}

template <class Row>
class Firfilter : public testing::Test {};
TYPED_TEST_SUITE(Firfilter, Loops);

TYPED_TEST(Firfilter, AnOutputOfTheFirstPassDiffersFromTheDirectSum) {
    using Source = typename TypeParam::Source;
    using Destination = typename TypeParam::Destination;
    for (auto filter : someFilters<typename TypeParam::Coefficient>()) {
        const std::int32_t align = filter.align == -1 ? filter.length() / 2 : filter.align;
        const std::int32_t step = std::max(filter.decimation, 1), frames = filter.length() + 480 - align;
        const auto x = randomSamples<Source>(static_cast<std::size_t>(frames * filter.nchans), 5);
        std::vector<Destination> expected;
        for (std::int32_t first = -align; first + filter.length() <= frames; first += step)
            for (std::int32_t channel = 0; channel < filter.nchans; ++channel)
                expected.push_back(directSum<Destination, typename TypeParam::Sum>(filter, x, first, channel));
        EXPECT_EQ(bitsOf(filteredBy<Destination>(filter, x)), bitsOf(expected))
            << filter.length() << " taps by " << filter.decimation << ", " << filter.nchans << " channels";
    }
}

// Filters a buffer of length + 480 frames pass by pass, when all input is there from the start. After a pass the frames
// that are left go to its head, but for the elements at odd places.
template <class Row, class Source, class Coefficient>
std::vector<typename Row::Destination> passByPass(const Filter<Coefficient>& filter, const std::vector<Source>& x) {
    const auto nchans = static_cast<std::size_t>(filter.nchans), length = filter.taps.size();
    std::vector<Source> buffer((length + 480) * nchans);
    std::vector<typename Row::Destination> results;
    std::size_t taken = 0, held = static_cast<std::size_t>(filter.align) * nchans;
    for (;;) {
        const std::size_t n = std::min(buffer.size() - held, x.size() - taken) / nchans * nchans;
        std::copy_n(x.begin() + static_cast<long>(taken), n, buffer.begin() + static_cast<long>(held));
        taken += n;
        held += n;
        std::size_t start = 0;
        for (; (start + length) * nchans <= held; start += static_cast<std::size_t>(filter.decimation))
            for (std::int32_t channel = 0; channel < filter.nchans; ++channel)
                results.push_back(directSum<typename Row::Destination, typename Row::Sum>(
                    filter, buffer, static_cast<std::int32_t>(start), channel));
        if (start == 0) return results;
        held -= start * nchans;
        for (std::size_t i = 0; i < held; i += 2) buffer[i] = buffer[start * nchans + i];
    }
}

TYPED_TEST(Firfilter, ALaterPassFiltersWhatAnotherBufferHolds) {
    using Destination = typename TypeParam::Destination;
    for (const auto& filter : someFilters<typename TypeParam::Coefficient>()) {
        if (filter.align == -1 || filter.decimation == 0) continue;
        const auto count = static_cast<std::size_t>((filter.length() + 3 * 480 + 77) * filter.nchans);
        const auto x = randomSamples<typename TypeParam::Source>(count, 6);
        EXPECT_EQ(bitsOf(filteredBy<Destination>(filter, x)), bitsOf(passByPass<TypeParam>(filter, x)))
            << filter.length() << " taps by " << filter.decimation << ", " << filter.nchans << " channels";
    }
}

TEST(FirfilterArrival, AChannelAtAnEvenPlaceDependsOnThePasses) {
    const Filter<float> filter{{0.5F, -0.25F, 0.75F, 0.125F, -1}, 4, 3, 2};
    const auto x = randomSamples<I16>(4 * 2500, 9);
    const auto even = sameForEveryArrival(12, [&](FeedPolicy feed) {
        auto samples = filteredBy<double>(filter, x, feed);
        for (std::size_t i = 0; i < samples.size(); i += 2) samples[i + 1] = 0;
        return samples;
    });
    ASSERT_EQ(even.size(), 4U * ((2500 + 2 - 5) / 3 + 1));
    for (std::size_t i = 0; i < even.size(); i += 2)
        ASSERT_EQ(even[i], (directSum<double, double>(filter, x, static_cast<I32>(i / 4 * 3) - 2, i % 4))) << i;
}

TEST(FirfilterArrival, AnOutputComesBeforeItsFramesOrWaitsForMore) {
    for (const auto& [frames, outputs] : {std::pair(5U, 0U), {6, 1}, {8, 1}, {9, 2}, {12, 3}}) {
        const Filter<float> filter{std::vector<float>(8, 1), 2, 3, 2};
        const std::vector<I16> x(2 * frames + 1);  // and half a frame
        EXPECT_EQ(filteredBy<I16>(filter, x).size(), 2 * outputs) << frames;
        EXPECT_EQ(filteredBy<I16>(filter, x, {.piece = 1}).size(), 2 * outputs) << frames;
    }
}

// Each sample through a filter of one tap of 1.
template <class Destination, class Source>
std::vector<BitsOf<Destination>> passed(const std::vector<Source>& x) {
    using Coefficient = std::conditional_t<std::is_same_v<Source, float>, float, double>;
    return bitsOf(filteredBy<Destination>(Filter<Coefficient>{{1}, 1, 0, 0}, x));
}

TEST(FirfilterStores, AStoreSaturatesTruncatesOrNarrowsOtherwise) {
    const double most = 2147483647, nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(passed<I16>(std::vector{32766.9, 32767.9, 1e300, -32768.9, -1e300, -0.9, 1.9, -1.9, nan}),
              bitsOf(std::vector<I16>{32766, 32767, 32767, -32768, -32768, 0, 1, -1, 0}));
    EXPECT_EQ(passed<I16>(std::vector{32766.5F, 1e30F, -1e30F, -0.9F}),
              bitsOf(std::vector<I16>{32766, 32767, -32768, 0}));
    constexpr I32 least = std::numeric_limits<I32>::min();
    EXPECT_EQ(passed<I32>(std::vector{most + 0.5, most + 1, 1e300, -most - 1.5, -most - 2, -1e300, -1.9, nan}),
              bitsOf(std::vector<I32>{2147483647, least, least, least, least, least, -1, least}));
    EXPECT_EQ(passed<float>(std::vector{1 + 0x1p-24, 1 + 0x3p-24, 1e300}),
              bitsOf(std::vector<float>{1, 1 + 0x1p-22F, INFINITY}));
}

// The coefficient that one element of a vector becomes: what an impulse of one gives.
template <class Source, class Given>
double coefficient(Given given, const TaskArgument& scaling) {
    TestSession session;
    const VectorId vector = session.addVector("taps", elementTypeOf<Given>(), bytesOf(std::vector<Given>{given}));
    return filtered<double>(session, "FIRFILTER", std::vector<Source>{1},
                            {session.use(vector), int16Constant(1), scaling, int16Constant(0), int16Constant(0)})[0];
}

TEST(FirfilterCoefficients, ACoefficientIsConvertedOrScaledOtherwise) {
    const double tenth = 0.1, third = 1.0 / 3;
    const auto one = int16Constant(1), none = int16Constant(0), two = int32Constant(2), by3 = doubleConstant(3);
    EXPECT_EQ((coefficient<double>(I16{-32768}, one)), -1);
    EXPECT_EQ((coefficient<double>(I16{16384}, two)), 0.25);
    EXPECT_EQ((coefficient<I16>(I16{16384}, none)), 0.5);
    EXPECT_EQ((coefficient<I32>(I32{1} << 30, floatConstant(0.25F))), 2);
    EXPECT_EQ((coefficient<float>(I32{-1} - 2147483647, one)), -1);
    EXPECT_EQ((coefficient<double>(tenth, none)), tenth);
    EXPECT_EQ((coefficient<double>(1.0, by3)), third);
    EXPECT_EQ((coefficient<I32>(0.1F, one)), static_cast<double>(0.1F));
    EXPECT_EQ((coefficient<I16>(third, one)), static_cast<double>(static_cast<float>(third)));
    // All in single for int16 and float, divided in double for double: the other way each ends in another digit.
    const auto by = doubleConstant(0.3);
    EXPECT_EQ((coefficient<float>(I16{7}, by)), 0x1.755554p-11);
    EXPECT_EQ((coefficient<float>(I16{-32767}, by)), -0x1.aaa754p+1);
    EXPECT_EQ((coefficient<float>(0.9F, by)), 0x1.7ffffep+1);
    EXPECT_EQ((coefficient<float>(0.9, by)), 3);
    EXPECT_EQ((coefficient<double>(0.9F, by)), static_cast<double>(0.9F) / 0.3);
}

TEST(FirfilterCoefficients, AnotherAlignIsTheMiddle) {
    for (const std::size_t length : {8U, 9U}) {
        std::vector<float> taps(length);
        for (std::size_t k = 0; k < length; ++k) taps[k] = static_cast<float>(k);
        EXPECT_EQ(filteredBy<float>(Filter<float>{taps, 1, 0, -1}, std::vector<float>{1, 0, 0, 0, 0, 0, 0, 0})[0], 4);
    }
}

std::string outcome(TestSession& session, std::vector<TaskArgument> given) {
    session.addTask({.command = "FIRFILTER", .arguments = std::move(given)});
    return statesOf(session.run())[0];
}

struct Mistake {
    std::string outcome;
    std::int32_t nchans;  // 0 leaves it out
    TaskArgument length, decimation, align;
};

// With 5 taps.
TEST(FirfilterParameters, AMistakePassesOrAnotherPlaceIsBlamed) {
    const auto c = int16Constant;
    const Mistake mistakes[] = {
        {"running", 0, c(0), c(0), c(0)},
        {"running", 1, c(5), c(4), c(4)},
        {"running", 32, c(0), c(1), c(-1)},
        {"running", 0, c(0), int32Constant(0x10004), c(0)},
        {"running", 0, c(0), int32Constant(65536), c(0)},
        {"error code 5 at 2", 33, c(4), c(5), c(5)},
        {"error code 5 at 2", -1, c(0), c(1), c(0)},
        {"error code 1 at 3", 0, c(4), c(5), c(5)},
        {"error code 1 at 4", 1, c(-5), c(5), c(5)},
        {"error code 5 at 5", 0, c(0), c(5), c(5)},
        {"error code 5 at 5", 0, c(0), c(-1), c(0)},
        {"error code 5 at 5", 0, c(0), int32Constant(0x18000), c(0)},
        {"error code 5 at 6", 2, c(0), c(6), c(0)},
        {"error code 5 at 6", 0, c(0), c(0), c(5)},
        {"error code 5 at 6", 0, c(0), c(0), c(-2)},
        {"error code 5 at 7", 2, c(5), c(0), c(5)},
        {"error code 10 at 3", 0, TaskArgument{}, c(0), c(0)},
    };
    for (const Mistake& mistake : mistakes) {
        TestSession session;
        const auto taps = session.use(session.addVector("taps", ElementType::float32, bytesOf(std::vector<float>(5))));
        std::vector<TaskArgument> given{session.use(session.pipe("from"))};
        if (mistake.nchans != 0) given.push_back(c(static_cast<I16>(mistake.nchans)));
        const bool noLength = mistake.length.kind == 0;
        given.insert(given.end(), {taps, noLength ? taps : mistake.length, c(1), mistake.decimation, mistake.align,
                                   session.use(session.pipe("to", {}, ElementType::float64))});
        EXPECT_EQ(outcome(session, given), mistake.outcome)
            << "nchans " << mistake.nchans << " case " << &mistake - mistakes;
    }
}

// s is a pipe, t a vector, a digit a constant.
TEST(FirfilterParameters, AListThatFitsNeitherFormPasses) {
    for (const auto& [kinds, expected] : {std::pair("s1t0000", "error code 8 at 8"),
                                          {"st0000ss", "error code 9 at 8"},
                                          {"s100000s", "error code 10 at 3"},
                                          {"st00000", "error code 10 at 7"},
                                          {"s1t000ss", "error code 10 at 7"},
                                          {"st000s", "refused at 7"}}) {
        TestSession session;
        const auto taps = session.use(session.addVector("taps", ElementType::float32, bytesOf(std::vector<float>(5))));
        std::vector<TaskArgument> given;
        for (const char kind : std::string(kinds))
            given.push_back(kind == '0'   ? int16Constant(0)
                            : kind == '1' ? int16Constant(1)
                            : kind == 't' ? taps
                                          : session.use(session.pipe("pipe" + std::to_string(given.size()))));
        EXPECT_EQ(outcome(session, given), expected) << kinds;
    }
}

}  // namespace
}  // namespace libzepl
