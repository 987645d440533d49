// FIRFILTER against direct sums over the buffer that each pass leaves to the next.

#include <algorithm>

#include "tests/fir/fir_support.h"
#include "tests/support/call.h"
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
    const std::int32_t shapes[][4] = {{1, 1, 0, 0},    {1, 32, 0, 0},   {2, 2, 1, -1},  {9, 1, 1, -1},
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

template <class Row>
class Firfilter : public testing::Test {};
TYPED_TEST_SUITE(Firfilter, Loops);

template <class Destination, class Sum>
Destination storedSum(Sum sum) {
    if constexpr (std::is_same_v<Destination, std::int16_t>)
        return sum <= -32768 ? -32768 : sum >= 32767 ? 32767 : static_cast<std::int16_t>(sum);
    else if constexpr (std::is_same_v<Destination, std::int32_t>)
        return sum > -2147483649.0 && sum < 2147483648.0 ? static_cast<std::int32_t>(sum)
                                                         : std::numeric_limits<std::int32_t>::min();
    else
        return static_cast<Destination>(sum);
}

// One output of the filter whose oldest sample is in frame `first` of x.
template <class Destination, class Sum, class Source, class Coefficient>
Destination directSum(const Filter<Coefficient>& filter, const std::vector<Source>& x, std::int32_t first,
                      std::int32_t channel) {
    Sum sum = 0;
    for (std::int32_t k = 0; k < filter.length(); ++k)
        sum += static_cast<Sum>(filter.taps[static_cast<std::size_t>(k)]) *
               static_cast<Sum>(x[static_cast<std::size_t>((first + k) * filter.nchans + channel)]);
    return storedSum<Destination>(sum);
}

// Filters a buffer of length + 480 frames pass by pass, when all input is there from the start. After a pass the frames
// that are left go to its head, but for the elements at odd places.
template <class Row, class Source, class Coefficient>
std::vector<typename Row::Destination> passByPass(const Filter<Coefficient>& filter, const std::vector<Source>& x) {
    const auto nchans = static_cast<std::size_t>(filter.nchans), length = filter.taps.size();
    std::vector<Source> buffer((length + 480) * nchans);
    std::vector<typename Row::Destination> results;
    std::size_t taken = 0, held = static_cast<std::size_t>(filter.zeros()) * nchans;
    for (;;) {
        const std::size_t n = std::min(buffer.size() - held, x.size() - taken) / nchans * nchans;
        std::copy_n(x.begin() + static_cast<long>(taken), n, buffer.begin() + static_cast<long>(held));
        taken += n;
        held += n;
        std::size_t start = 0;
        for (; (start + length) * nchans <= held; start += static_cast<std::size_t>(filter.step()))
            for (std::int32_t channel = 0; channel < filter.nchans; ++channel)
                results.push_back(directSum<typename Row::Destination, typename Row::Sum>(
                    filter, buffer, static_cast<std::int32_t>(start), channel));
        if (start == 0) return results;
        held -= start * nchans;
        for (std::size_t i = 0; i < held; i += 2) buffer[i] = buffer[start * nchans + i];
    }
}

TYPED_TEST(Firfilter, OutputsAreDirectSumsOverTheirPassesBuffer) {
    using Destination = typename TypeParam::Destination;
    for (const auto& filter : someFilters<typename TypeParam::Coefficient>()) {
        const auto count = static_cast<std::size_t>((filter.length() + 3 * 480 + 77) * filter.nchans);
        const auto x = randomSamples<typename TypeParam::Source>(count, 6);
        EXPECT_EQ(bitsOf(filteredBy<Destination>(filter, x)), bitsOf(passByPass<TypeParam>(filter, x)))
            << filter.length() << " taps by " << filter.decimation << ", " << filter.nchans << " channels";
    }
}

TEST(FirfilterArrival, AnOutputComesWithItsLastFrame) {
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

TEST(FirfilterStores, StoresSaturateTruncateAndNarrowByType) {
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
double coefficient(Given given, const std::string& scaling) {
    return Call("FIRFILTER (in, taps, 1, " + scaling + ", 0, 0, out:double)",
                {{"in", std::vector<Source>{1}}, {"[taps]", std::vector<Given>{given}}})
        .taken<double>()
        .at(0);
}

TEST(FirfilterCoefficients, CoefficientsAreConvertedAndScaled) {
    const double tenth = 0.1, third = 1.0 / 3;
    EXPECT_EQ((coefficient<double>(I16{-32768}, "1")), -1);
    EXPECT_EQ((coefficient<double>(I16{16384}, "2:int32")), 0.25);
    EXPECT_EQ((coefficient<I16>(I16{16384}, "0")), 0.5);
    EXPECT_EQ((coefficient<I32>(I32{1} << 30, "0.25:float")), 2);
    EXPECT_EQ((coefficient<float>(I32{-1} - 2147483647, "1")), -1);
    EXPECT_EQ((coefficient<double>(tenth, "0")), tenth);
    EXPECT_EQ((coefficient<double>(1.0, "3.0")), third);
    EXPECT_EQ((coefficient<double>(5.0, "3.0")), 5.0 / 3);
    EXPECT_EQ((coefficient<I32>(0.1F, "1")), static_cast<double>(0.1F));
    EXPECT_EQ((coefficient<I16>(third, "1")), static_cast<double>(static_cast<float>(third)));
    // In single for int16 and float, divided in double for int32 and double: the other way each ends in another digit.
    EXPECT_EQ((coefficient<float>(I16{7}, "0.3")), 0x1.755554p-11);
    EXPECT_EQ((coefficient<float>(I16{-32767}, "0.3")), -0x1.aaa754p+1);
    EXPECT_EQ((coefficient<float>(I32{7}, "0.3")), 0x1.755556p-27);
    EXPECT_EQ((coefficient<float>(0.9F, "0.3")), 0x1.7ffffep+1);
    EXPECT_EQ((coefficient<float>(0.9, "0.3")), 3);
    EXPECT_EQ((coefficient<double>(0.9F, "0.3")), static_cast<double>(0.9F) / 0.3);
}

// In the order of the list; the vector has five taps.
TEST(FirfilterParameters, ListsAreRefusedAtTheFirstMistake) {
    expectReady({"FIRFILTER (int32, [0, 0, 0, 0, 0]:float, 0, 1, 0, 0, double)",
                 "FIRFILTER (int32, 1, [0, 0, 0, 0, 0]:float, 5, 1, 4, 4, double)",
                 "FIRFILTER (int32, 32, [0, 0, 0, 0, 0]:float, 0, 1, 1, -1, double)",
                 "FIRFILTER (int32, [0, 0, 0, 0, 0]:float, 0, 1, 65540:int32, 0, double)",
                 "FIRFILTER (int32, [0, 0, 0, 0, 0]:float, 0, 1, 65536:int32, 0, double)"});
    expectRefused({"FIRFILTER (int32, 33, [0, 0, 0, 0, 0]:float, 4, 1, 5, 5, double)",
                   "FIRFILTER (int32, -1, [0, 0, 0, 0, 0]:float, 0, 1, 1, 0, double)"},
                  5, 2);
    expectRefused({"FIRFILTER (int32, [0, 0, 0, 0, 0]:float, 4, 1, 5, 5, double)"}, 1, 3);
    expectRefused({"FIRFILTER (int32, 1, [0, 0, 0, 0, 0]:float, -5, 1, 5, 5, double)"}, 1, 4);
    expectRefused({"FIRFILTER (int32, [0, 0, 0, 0, 0]:float, 0, 1, 5, 5, double)",
                   "FIRFILTER (int32, [0, 0, 0, 0, 0]:float, 0, 1, -1, 0, double)",
                   "FIRFILTER (int32, [0, 0, 0, 0, 0]:float, 0, 1, 98304:int32, 0, double)"},
                  5, 5);
    expectRefused({"FIRFILTER (int32, 2, [0, 0, 0, 0, 0]:float, 0, 1, 6, 0, double)",
                   "FIRFILTER (int32, [0, 0, 0, 0, 0]:float, 0, 1, 0, 5, double)",
                   "FIRFILTER (int32, [0, 0, 0, 0, 0]:float, 0, 1, 0, -2, double)"},
                  5, 6);
    expectRefused({"FIRFILTER (int32, 2, [0, 0, 0, 0, 0]:float, 5, 1, 0, 5, double)"}, 5, 7);
    expectRefused({"FIRFILTER (int32, [0, 0, 0, 0, 0]:float, [0, 0, 0, 0, 0]:float, 1, 0, 0, double)",
                   "FIRFILTER (int32, 1, 0, 0, 0, 0, 0, int32)"},
                  10, 3);
    expectRefused({"FIRFILTER (int32, 1, [0, 0, 0, 0, 0]:float, 0, 0, 0, 0)"}, 8, 8);
    expectRefused({"FIRFILTER (int32, [0, 0, 0, 0, 0]:float, 0, 0, 0, 0, int32, int32)"}, 9, 8);
    expectRefused({"FIRFILTER (int32, [0, 0, 0, 0, 0]:float, 0, 0, 0, 0, 0)",
                   "FIRFILTER (int32, 1, [0, 0, 0, 0, 0]:float, 0, 0, 0, int32, int32)"},
                  10, 7);
    expectRefused({"FIRFILTER (int32, [0, 0, 0, 0, 0]:float, 0, 0, 0, int32)"}, 0, 7);
}

}  // namespace
}  // namespace libzepl
