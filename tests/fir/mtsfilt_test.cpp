// MTSFILT against a direct sum over its kernels, in each of its four ways of moving data; and its kernels.

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

#include "fir/mtsfilt_kernels.cpp"
#include "tests/support/arrivals.h"
#include "tests/support/call.h"
#include "tests/support/covered.h"
#include "tests/support/samples.h"

namespace libzepl {
namespace {

const Covers covers("MTSFILT");

using Samples = std::vector<std::int16_t>;

struct Scan {
    std::int16_t nchan, ngroups, xdecim;

    int slots() const { return nchan / ngroups; }
    int slot(int channel) const { return channel / ngroups; }
    int decimation() const { return std::max<int>(xdecim, 1); }
    bool bigFrames() const { return nchan * decimation() >= 2048; }
};

std::ostream& operator<<(std::ostream& out, const Scan& scan) {
    return out << "nchan " << scan.nchan << " ngroups " << scan.ngroups << " xdecim " << scan.xdecim;
}

Samples filtered(const Scan& scan, const Samples& frames, FeedPolicy feed = {}) {
    return resultOf<std::int16_t>("MTSFILT " + list("in", scan.nchan, scan.ngroups, scan.xdecim, "out"), frames,
                                  {.feed = feed});
}

// The outputs that the frames suffice for.
Samples directSum(const Scan& scan, Samples frames) {
    const int nchan = scan.nchan, count = static_cast<int>(frames.size()) / nchan, d = scan.decimation();
    // Big frames that overlap: a gap in the first history counts as zeros.
    if (scan.bigFrames())
        for (int f = d; f < 16 - d; ++f) std::fill_n(frames.begin() + f * nchan, nchan, std::int16_t{0});
    Samples outputs;
    for (int first = 0; first + 16 <= count; first += d) {
        for (int c = 0; c < nchan; ++c) {
            const auto& taps = zcmds::mtsKernels[(scan.slots() - 1 - scan.slot(c)) * 256 / scan.slots()];
            std::int64_t sum = 0;
            for (int k = 0; k < 16; ++k) sum += taps[k] * frames[static_cast<std::size_t>((first + k) * nchan + c)];
            const double rounded = std::floor(static_cast<double>(sum) / 32768);
            outputs.push_back(static_cast<std::int16_t>(std::clamp(rounded, -32768.0, 32767.0)));
        }
    }
    return outputs;
}

constexpr Scan decimatedByMuch[] = {{64, 1, 32}, {128, 2, 16}, {512, 32, 17}, {2, 1, 16},
                                    {3, 3, 32},  {63, 1, 32},  {127, 1, 16},  {120, 8, 17}};
constexpr Scan bigFramesWithHistory[] = {{512, 1, 4}, {300, 1, 7},   {256, 8, 8},
                                         {228, 1, 9}, {160, 32, 13}, {137, 1, 15}};
constexpr Scan undecimated[] = {{2, 1, 0},   {3, 1, 1},   {8, 1, 1},   {8, 8, 1},   {64, 2, 1},  {65, 1, 1},
                                {100, 1, 1}, {141, 1, 1}, {256, 1, 1}, {257, 1, 1}, {300, 1, 1}, {512, 32, 1}};
constexpr Scan decimatedByLittle[] = {{2, 1, 2},   {2, 2, 15},  {8, 2, 5},    {7, 1, 8},
                                      {300, 1, 3}, {292, 1, 7}, {136, 1, 15}, {500, 1, 2}};

Samples randomFrames(const Scan& scan, int frames) {
    return randomSamples<std::int16_t>(static_cast<std::size_t>(scan.nchan * frames + 1), 5);
}

TEST(Mtsfilt, OutputsAreDirectSumsHoweverFramesArrive) {
    const auto check = [](const Scan& scan) {
        const Samples source = randomFrames(scan, 150 + 6000 / scan.nchan), expected = directSum(scan, source);
        const auto step = static_cast<std::uint64_t>(scan.nchan);
        EXPECT_EQ(sameForEveryArrival(
                      step, [&](FeedPolicy feed) { return filtered(scan, source, feed); }, 2),
                  expected)
            << scan;
    };
    for (const Scan& scan : decimatedByMuch) check(scan);
    for (const Scan& scan : bigFramesWithHistory) check(scan);
    for (const Scan& scan : undecimated) check(scan);
}

// How many outputs there are by the end hangs on the arrival, but not what they are.
TEST(Mtsfilt, SmallFramesDecimatedALittleAreDirectSums) {
    for (const Scan& scan : decimatedByLittle) {
        const Samples source = randomFrames(scan, 150 + 6000 / scan.nchan), expected = directSum(scan, source);
        const auto n = static_cast<std::size_t>(scan.nchan), d = static_cast<std::size_t>(scan.xdecim);
        const auto check = [&](FeedPolicy feed, std::size_t least) {
            const Samples have = filtered(scan, source, feed);
            ASSERT_LE(have.size(), expected.size()) << scan;
            EXPECT_GE(have.size(), least) << scan;
            EXPECT_TRUE(std::equal(have.begin(), have.end(), expected.begin())) << scan;
        };
        check({.kind = FeedPolicy::Kind::whole}, 0);
        check({.kind = FeedPolicy::Kind::random, .seed = 3}, 0);
        check({.piece = 1},
              expected.size() - std::min(expected.size(), n * (d - 1)));  // a pass is of at most `xdecim` outputs
    }
}

TEST(Mtsfilt, APassAsksForAsManyOutputsAsFramesAreThere) {
    const auto outputs = [](const Scan& scan, int frames, FeedPolicy feed) {
        Samples source(static_cast<std::size_t>(frames * scan.nchan));
        return filtered(scan, source, feed).size() / static_cast<std::size_t>(scan.nchan);
    };
    const FeedPolicy whole{.kind = FeedPolicy::Kind::whole}, single{.piece = 1};
    // Two frames at a time ask for two outputs, sixty ask for sixty, which need twice as many frames.
    EXPECT_EQ(outputs({2, 1, 2}, 14 + 60, single), 30u);
    EXPECT_EQ(outputs({2, 1, 2}, 14 + 60, whole), 0u);
    // 1024 frames would ask for 1024 outputs; beside the history the areas hold what 502 need, and 1023 frames suffice.
    EXPECT_EQ(outputs({2, 1, 2}, 14 + 1023, whole), 502u);
    EXPECT_EQ(outputs({500, 1, 2}, 14 + 7, whole), 3u);
}

TEST(MtsfiltKernels, KernelsKeepTheirRows) {
    const std::map<int, std::array<std::int16_t, 16>> given{
        {0, {-16, 26, 114, -667, 1811, -3360, 4716, 27437, 4821, -3387, 1814, -664, 112, 27, -16, 0}},
        {1, {-15, 25, 117, -669, 1805, -3329, 4608, 27436, 4930, -3418, 1819, -662, 110, 28, -16, 0}},
        {64, {-4, -18, 189, -622, 1175, -1177, -1113, 25362, 12369, -4777, 1755, -350, -89, 97, -29, 0}},
        {128, {0, -33, 166, -370, 320, 737, -4279, 19785, 19887, -4248, 712, 332, -373, 166, -33, 0}},
        {192, {0, -29, 96, -85, -359, 1766, -4772, 12252, 25420, -1040, -1210, 1185, -623, 189, -17, -4}},
        {255, {0, -16, 27, 112, -666, 1817, -3391, 4824, 27437, 4713, -3356, 1808, -666, 114, 26, -16}}};
    for (const auto& [row, taps] : given)
        EXPECT_TRUE(std::equal(taps.begin(), taps.end(), zcmds::mtsKernels[row])) << row;
}

TEST(MtsfiltKernels, DelayAndGainAreEvenOverTheRows) {
    for (const double frequency : {0.01, 0.1, 0.2, 0.3, 0.4}) {
        double least = 2, most = 0;
        for (int row = 0; row < 256; ++row) {
            const double turn = 2 * std::numbers::pi * frequency, delay = 7 + (row + 0.5) / 256;
            std::complex<double> response;
            int sum = 0;
            for (int k = 0; k < 16; ++k) {
                response += zcmds::mtsKernels[row][k] / 32768.0 * std::polar(1.0, turn * (delay - k));
                sum += zcmds::mtsKernels[row][k];
            }
            EXPECT_LE(std::abs(sum - 32768), 3) << row;
            // A quarter of the distance between rows.
            EXPECT_LE(std::abs(std::arg(response) / turn), 0.25 / 256) << "row " << row << " at " << frequency;
            least = std::min(least, std::abs(response));
            most = std::max(most, std::abs(response));
        }
        EXPECT_LE(most / least, 1.0007) << frequency;
    }
}

TEST(MtsfiltParameters, ListsAreRefusedAtTheFirstMistake) {
    expectReady(
        {"MTSFILT (int16, 2, 1, 32, int16)", "MTSFILT (int16, 512, 32, int16)", "MTSFILT (int16, 64, 32, 0, int16)"});
    expectRefused(
        {"MTSFILT (int16, 1, 0, 33, int16)", "MTSFILT (int16, 1, 33, 33, int16)", "MTSFILT (int16, 1, -1, 33, int16)",
         "MTSFILT (int16, 8, 2, 33, int16)", "MTSFILT (int16, 8, 2, -1, int16)", "MTSFILT (int16, 8, 33, int16)",
         "MTSFILT (int16, 8, -32768, int16)"},
        5, 3);
    expectRefused({"MTSFILT (int16, 1, 2, 1, int16)", "MTSFILT (int16, 513, 2, 1, int16)",
                   "MTSFILT (int16, -2, 2, 1, int16)", "MTSFILT (int16, 1, 1, int16)", "MTSFILT (int16, 0, 1, int16)"},
                  5, 2);
    expectRefused({"MTSFILT (int16, 8, 3, 33, int16)"}, 4, 2);
    expectRefused({"MTSFILT (int16, 8, int16)"}, 0, 4);
    expectRefused({"MTSFILT (int16, 8, 2, 1, 1, int16)"}, 0, 6);
    expectRefused({"MTSFILT (int16, 2, 2, 2)", "MTSFILT (int16, 2, 2, int16, int16)"}, 10, 4);
    expectRefused({"MTSFILT (int32, 2, 2, int16)"}, 0, 1);
}

}  // namespace
}  // namespace libzepl
