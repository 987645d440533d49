// The approximations of the host's functions: how near they are, and that where that is not enough the host's result is taken.

#include "frame/approximation.h"

#include <bit>
#include <limits>

#include "host/mathematics.h"
#include "tests/support/call.h"
#include "tests/support/samples.h"

namespace libzepl {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
const double special[] = {0.0, -0.0, 1.0, -1.0, infinity, -infinity, NAN, -NAN, 0x1p-149, -0x1p-149, 0x1.fffffep127};

// A quarter of the error is the approximation's own; results that are no finite numbers, or zeros, are the host's to the bit.
void expectNear(double have, double host, const std::string& what) {
    if (host == 0 || !std::isfinite(host))
        ASSERT_EQ(std::bit_cast<std::uint64_t>(have), std::bit_cast<std::uint64_t>(host)) << what << " gives " << have;
    else
        ASSERT_LE(std::abs(have - host), std::abs(host) * zcmds::approximationError / 4) << what << " gives " << have;
}

TEST(Approximation, LogarithmsAreNearTheHosts) {
    std::vector<double> arguments = randomBits<double>(40000, 1);
    for (int k = -3000; k <= 3000; ++k)
        arguments.insert(arguments.end(), {1 + k * 0x1p-40, std::ldexp(1, k / 3), k * 0x1p-1074});
    for (const double edge : {std::numbers::sqrt2 / 2, std::numbers::sqrt2, 0x1p-1022})
        for (const double way : {0.0, edge, infinity}) arguments.push_back(std::nextafter(edge, way));
    arguments.insert(arguments.end(), std::begin(special), std::end(special));
    for (const double x : arguments) expectNear(zcmds::approximateLog10(x), zepl::log10(x), "of " + written(x));
}

TEST(Approximation, AnglesAreNearTheHosts) {
    const std::vector<float> y = randomBits<float>(40000, 3), x = randomBits<float>(40000, 4);
    std::vector<std::pair<double, double>> points;
    for (std::size_t i = 0; i < y.size(); ++i) {
        const double part = y[i], slope = 1 + (static_cast<int>(i) % 2001 - 1000) * 0x1p-30;
        const auto turned = part * slope * (std::numbers::sqrt2 - 1);
        points.insert(points.end(), {{part, x[i]}, {part, part * slope}, {part, turned}, {turned, part}});
    }
    for (const double a : special)
        for (const double b : special) points.emplace_back(a, b);
    for (const auto& [a, b] : points) {
        const double have = zcmds::approximateAtan2(a, b);
        if (std::isnan(a) || std::isnan(b) || (std::isinf(a) && std::isinf(b)))
            ASSERT_TRUE(std::isnan(have));
        else
            expectNear(have, zepl::atan2(a, b), "of " + written(b) + ", " + written(a));
    }
}

TEST(Approximation, CosinesAreNearTheHosts) {
    std::vector<double> angles = randomSamples<double>(40000, 5);
    for (int k = -1300000; k <= 1300000; k += 613)
        for (const double way : {-infinity, infinity})
            angles.push_back(std::nextafter(k * (std::numbers::pi / 2), way));
    for (const double x : angles)
        ASSERT_NEAR(zcmds::approximateCos(x), zepl::cos(x), zcmds::approximationError / 4) << "of " << written(x);
}

// Those of numbers lie so near to the middle between two results that the ends of the interval differ, and its low end is wrong.
TEST(Approximation, AResultThatIsNotCertainIsTheHosts) {
    constexpr float none = NAN, most = INFINITY;
    for (const auto& [y, x] : {std::pair(15778.0F, 12849.0F),
                               {-17210.0F, -14513.0F},
                               {11103.0F, -17923.0F},
                               {none, 1.0F},
                               {1.0F, -none},
                               {most, -most},
                               {-most, most}}) {
        const auto host = static_cast<float>(zepl::atan2(double{y}, double{x}));
        ASSERT_NE(static_cast<float>(zcmds::angleAround(y, x).low), host) << "no such case";
        const Call call("CANGLE (re, im, " + typed<float>("out") + ")",
                        {{"re", std::vector{1.0F, x}}, {"im", std::vector{1.0F, y}}});
        EXPECT_EQ(bitsOf(call.taken<float>()).at(1), std::bit_cast<std::uint32_t>(host)) << y << " " << x;
    }
    const Call whole("TFUNCTION2 (power, re, im, mag:int32, phase:int32)",
                     {{"power", std::vector{1, 1}}, {"re", std::vector{7, 10}}, {"im", std::vector{0, 0}}});
    EXPECT_EQ(whole.taken<std::int32_t>("mag"), (std::vector{16, 20}));
}

}  // namespace
}  // namespace libzepl
