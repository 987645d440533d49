// Conversions between sample formats and element types: what fits, rounding, truncation, scaling and saturation.

#include "runtime/files/convert.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <limits>

#include "runtime/diagnostics.h"

namespace libzepl {
namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();

SampleFormat integerOf(int bits) { return {SampleFormat::Kind::signedInteger, bits}; }
SampleFormat unsignedOf(int bits) { return {SampleFormat::Kind::unsignedInteger, bits}; }
SampleFormat realOf(int bits) { return {SampleFormat::Kind::real, bits}; }

template <class To, class From>
std::vector<To> converted(Conversion conversion, SampleFormat format, const std::vector<From>& samples) {
    std::vector<To> elements;
    withConversion<To>(conversion, format, From{}, [&](auto convert) {
        std::transform(samples.begin(), samples.end(), std::back_inserter(elements), convert);
    });
    return elements;
}

template <class To>
std::vector<To> fromIntegers(Conversion conversion, SampleFormat format, const std::vector<std::int64_t>& samples) {
    return converted<To>(conversion, format, samples);
}

template <class To>
std::vector<To> fromDoubles(Conversion conversion, const std::vector<double>& samples) {
    return converted<To>(conversion, realOf(64), samples);
}

using Shorts = std::vector<std::int16_t>;
using Floats = std::vector<float>;
using Doubles = std::vector<double>;

TEST(Fitting, AdmitsTheTypesThatHoldEveryValue) {
    const struct {
        SampleFormat format;
        std::string fitting;  // of int16, int32, float, double
    } cases[] = {
        {integerOf(8), "yyyy"},  {unsignedOf(8), "yyyy"}, {integerOf(16), "yyyy"}, {unsignedOf(16), "nyyy"},
        {integerOf(20), "nyyy"}, {integerOf(24), "nyyy"}, {integerOf(32), "nyny"}, {unsignedOf(32), "nnny"},
        {integerOf(64), "nnnn"}, {realOf(32), "nnyy"},    {realOf(64), "nnny"},
    };
    for (const auto& row : cases) {
        std::string fitting;
        for (ElementType type : allElementTypes) fitting += fits(row.format, type) ? 'y' : 'n';
        EXPECT_EQ(fitting, row.fitting) << describe(row.format);
    }
}

TEST(RealsToIntegers, RoundToEvenTruncateToZeroAndSaturate) {
    EXPECT_EQ(fromDoubles<std::int16_t>(Conversion::rounded,
                                        {0.5, 1.5, -2.5, 32766.6, 32767.5, -32768.6, infinite, -infinite}),
              (Shorts{0, 2, -2, 32767, 32767, -32768, 32767, -32768}));
    EXPECT_EQ(fromDoubles<std::int16_t>(Conversion::truncated, {1.99, -1.99, 1e300}), (Shorts{1, -1, 32767}));
    EXPECT_EQ(fromDoubles<std::int16_t>(Conversion::scaled, {1, -1, 0.5, 2.5 / 32768, -3}),
              (Shorts{32767, -32768, 16384, 2, -32768}));
    EXPECT_EQ(fromDoubles<std::int32_t>(Conversion::rounded, {2147483646.5, 2147483648.0}),
              (std::vector<std::int32_t>{2147483646, 2147483647}));
}

TEST(IntegersToIntegers, SaturateAndScaleToTheFullRange) {
    for (Conversion conversion : {Conversion::rounded, Conversion::truncated})
        EXPECT_EQ(fromIntegers<std::int16_t>(conversion, integerOf(64), {32768, -32769, INT64_MIN, -1}),
                  (Shorts{32767, -32768, -32768, -1}));
    EXPECT_EQ(fromIntegers<std::int16_t>(Conversion::scaled, integerOf(8), {-128, 127}), (Shorts{-32768, 32512}));
    EXPECT_EQ(fromIntegers<std::int16_t>(Conversion::scaled, unsignedOf(8), {255}), Shorts{32640});
    EXPECT_EQ(fromIntegers<std::int16_t>(Conversion::scaled, integerOf(24),
                                         {128, 384, 129, -128, -129, -384, 8388607, -8388608}),
              (Shorts{0, 2, 1, 0, -1, -2, 32767, -32768}));
    EXPECT_EQ(fromIntegers<std::int16_t>(Conversion::scaled, integerOf(64), {INT64_MAX}), Shorts{32767});
}

TEST(IntegersToReals, RoundAsTheConversionSaysAndScaleToOne) {
    constexpr std::int64_t between = (1 << 24) + 3;  // halfway between two floats, the upper one even
    EXPECT_EQ(fromIntegers<float>(Conversion::rounded, integerOf(32), {between}), Floats{16777220});
    EXPECT_EQ(fromIntegers<float>(Conversion::truncated, integerOf(32), {between, -between}),
              (Floats{16777218, -16777218}));
    EXPECT_EQ(fromIntegers<double>(Conversion::truncated, integerOf(64), {INT64_MAX}), Doubles{0x1.fffffffffffffp62});
    EXPECT_EQ(fromIntegers<float>(Conversion::scaled, integerOf(16), {-32768, 1}), (Floats{-1, 0x1p-15F}));
    EXPECT_EQ(fromIntegers<double>(Conversion::scaled, unsignedOf(8), {128}), Doubles{0.5});
}

TEST(DoublesToFloats, RoundAsTheConversionSaysAndStayFinite) {
    const double above = 1 + 0x0.Cp-23;
    const float largest = std::numeric_limits<float>::max(), endless = static_cast<float>(infinite);
    EXPECT_EQ(fromDoubles<float>(Conversion::rounded, {above, -1e300, infinite}),
              (Floats{1 + 0x1p-23F, -largest, endless}));
    EXPECT_EQ(fromDoubles<float>(Conversion::truncated, {above, -above, 1e300, -infinite}),
              (Floats{1, -1, largest, -endless}));
    EXPECT_TRUE(std::isnan(fromDoubles<float>(Conversion::rounded, {std::nan("")}).at(0)));
}

TEST(ConversionWords, AreThoseListed) {
    ReadRequest request;
    request.conversion = "roundd";
    EXPECT_THROW(conversionOf(request), Problem);
    for (const ConversionName& row : conversionNames()) {
        request.conversion = row.name;
        EXPECT_NE(conversionOf(request), Conversion::none) << row.name;
    }
}

}  // namespace
}  // namespace libzepl
