// DECIBEL against the logarithm that its tables stand for, and to the digit where that is told.

#include "arith/level_tables.h"
#include "host/mathematics.h"
#include "tests/arith/arith_support.h"

namespace libzepl {
namespace {

const Covers covers("DECIBEL");

template <const auto& curve, class Rule>
void expectPoints(const std::vector<std::int32_t>& head, const std::vector<std::int32_t>& tail, Rule ratioOfLevel) {
    const auto& [ratios, levels] = curve;
    EXPECT_TRUE(std::equal(head.begin(), head.end(), ratios.begin()));
    EXPECT_TRUE(std::equal(tail.rbegin(), tail.rend(), ratios.rbegin()));
    for (std::size_t i = 0; i < ratios.size(); ++i) {
        const double exact = ratioOfLevel(levels[i]);
        EXPECT_NEAR(ratios[i], exact, 1 + exact * 1.3e-6) << i;  // a level is cut to a 100000th
        const std::int64_t here = ratios[i];
        EXPECT_EQ(zcmds::valueAt<curve>(here), levels[i]) << i;
        EXPECT_LE(zcmds::valueAt<curve>(here - 1), levels[i]) << i;
    }
}

TEST(DecibelTables, PointsLieOnTheLogarithm) {
    expectPoints<zcmds::shortLevels>({32768, 36111, 39797, 43858, 48333, 53266, 58701, 64692},
                                     {727922669, 802205412, 884068528, 974285576, 1073709056},
                                     [](double level) { return 32768 * std::pow(10, level / 2e6); });
    expectPoints<zcmds::longLevels>({1, 2, 3, 4, 6, 7, 9, 11},
                                    {961773206, 1175674157, 1437147255, 1756772675, 2147483647},
                                    [](double level) { return std::pow(10, level / 2e6); });
    EXPECT_EQ(zcmds::shortLevels.values.back(), 9030873);
    EXPECT_EQ(zcmds::longLevels.values.back(), 18663859);
}

template <class Element>
std::vector<Element> levels(const std::vector<Element>& source, Element reference, Element scale) {
    return resultOf<Element>("DECIBEL " + list("in", reference, scale, "out"), source);
}

// Each level within `error` decibels of the logarithm, and a unit of the result.
template <class Element>
void expectLevels(const std::vector<Element>& source, Element reference, Element scale, double error) {
    const std::vector<Element> have = levels(source, reference, scale);
    ASSERT_EQ(have.size(), source.size());
    for (std::size_t i = 0; i < source.size(); ++i) {
        const double exact = source[i] == 0 ? (sizeof(Element) == 2 ? -99 : -999)
                                            : 20 * std::log10(std::abs(1.0 * source[i] / reference));
        ASSERT_NEAR(have[i], scale * exact, 1 + std::abs(scale) * error) << source[i] << " to " << reference;
    }
}

TEST(Decibel, LevelsAreNearTheLogarithm) {
    for (const std::int16_t reference : std::initializer_list<std::int16_t>{1, 7, 1000, 32767})
        for (const std::int16_t scale : std::initializer_list<std::int16_t>{1, 10, -100})
            expectLevels<std::int16_t>(edgeSamples<std::int16_t>(), reference, scale, 0.011);
    std::vector<std::int32_t> source = edgeSamples<std::int32_t>();
    for (std::int32_t i = -3000; i < 3000; ++i) source.push_back(i);
    for (const std::int32_t reference : {1, 1000, 3000000, 2147483647})
        for (const std::int32_t scale : {1, 1000, -10}) expectLevels<std::int32_t>(source, reference, scale, 0.025);
}

TEST(DecibelEdges, LevelsAtTheEdgesAreExact) {
    using Short = std::vector<std::int16_t>;
    const Short source{1000, 10000, 100, 0, -1000, -32768, 32767};
    EXPECT_EQ(levels<std::int16_t>(source, 1000, 1), Short({0, 19, -19, -99, 0, 30, 30}));
    EXPECT_EQ(levels<std::int16_t>({10000, 0}, 1000, 10), Short({199, -990}));
    // A negative reference is not exchanged, so the ratio is none; a product past 31 bits wraps.
    EXPECT_EQ(levels<std::int16_t>({5, -32768, 0}, -3, 1), Short({0, 0, -99}));
    EXPECT_EQ(levels<std::int16_t>({32767}, 1, 240), Short({-21275}));
    EXPECT_EQ(levels<std::int16_t>({0, 0}, 0, 1000), Short({-32768, -32768}));
    using Long = std::vector<std::int32_t>;
    EXPECT_EQ(levels<std::int32_t>({0, 1000, least<std::int32_t>, 2147483647}, 1000, 1), Long({-999, 0, 126, 126}));
    EXPECT_EQ(levels<std::int32_t>({5, -5}, -7, 1000), Long({-90309, -90309}));
    EXPECT_EQ(levels<std::int32_t>({most<std::int32_t>}, 1, 100000), Long({1483930}));  // 18663800000 wraps
}

TEST(DecibelReals, EachStepIsRoundedToTheType) {
    const auto inDouble = [](double x) { return 20.0 * zepl::log10(std::max(std::abs(x), 0x1p-126) / 0.3) * 1.7; };
    std::vector<double> doubles = randomSamples<double>(3000, 4);
    doubles.insert(doubles.end(), {0.0, -0.0, 1e-300, INFINITY});
    expectEach<double>("DECIBEL (in, 0.3, 1.7, out)", doubles, inDouble);
    std::vector<float> floats = randomSamples<float>(3000, 4);
    floats.insert(floats.end(), {0.0F, -0.0F, -1e-45F, INFINITY});
    expectEach<float>("DECIBEL (in, 0.3:float, 1.7:float, out)", floats, [](float x) {
        const volatile float ratio = std::max(std::abs(x), 0x1p-126F) / 0.3F;
        const volatile auto level = static_cast<float>(20.0 * zepl::log10(static_cast<double>(ratio)));
        return level * 1.7F;
    });
}

TEST(DecibelVariable, AChangedVariableActsFromTheNextSample) {
    using Out = std::vector<std::int32_t>;
    EXPECT_EQ(withVariable("DECIBEL (in, v, 1:int32, out)", {2, 2}, "pass set,20 pass"), Out({0, -19}));
    EXPECT_EQ(withVariable("DECIBEL (in, 1:int32, v, out)", {0, 0}, "pass set,3 pass"), Out({-1998, -2997}));
}

TEST(DecibelFaults, AZeroReferenceFaultsAtASampleThatIsNotSilent) {
    EXPECT_EQ(withVariable("DECIBEL (in, v, 1:int32, out)", {5, 0, 5}, "pass set,0 pass pass", "fault code 3221225620")
                  .size(),
              2u);
}

}  // namespace
}  // namespace libzepl
