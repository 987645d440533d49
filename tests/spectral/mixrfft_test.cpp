// MIXRFFT: windows, forms of the spectrum and conversions against their plain definitions, bit for bit; its list of
// parameters with all that may be left out.

#include "host/mathematics.h"
#include "tests/spectral/spectral_support.h"
#include "tests/support/covered.h"

namespace libzepl {
namespace {

const Covers covers("MIXRFFT");

void expectSame(const Parts& have, const Parts& want, const std::string& what) {
    EXPECT_FALSE(want.re.empty()) << what;
    EXPECT_EQ(bitsOf(have.re), bitsOf(want.re)) << what;
    EXPECT_EQ(bitsOf(have.im), bitsOf(want.im)) << what;
}

// The transform of blocks of real samples, and of their zero imaginary parts, each multiplied by its weight.
template <class Weight>
Parts weightedTransform(const Doubles& samples, std::size_t n, const std::string& direction, Weight weight) {
    Parts parts;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        parts.re.push_back(samples[i] * weight(i % n));
        parts.im.push_back(0.0 * weight(i % n));
    }
    return transformOf(parts, n, direction);
}

TEST(Window, EachElementHasItsOwnWeight) {
    for (const std::string name : {"BARTLETT", "VONHANN", "HAMMING", "BLACKMAN", "KAISER", "RECTANGULAR"}) {
        for (const std::string direction : {"FORWARD", "REVERSE"}) {
            for (const std::size_t n : {4U, 15U, 16U, 360U}) {
                const Doubles samples = randomSamples<double>(3 * n, 5);
                const std::string call = "MIXRFFT (" + std::to_string(n) + ", " + direction + ", " + name +
                                         (name == "KAISER" ? ", 6.5" : "") + ", x, FULL, PARTS, re:double, im:double)";
                const Parts have = partsOf(call, {{"x", samples}});
                const auto weight = [&](std::size_t i) { return weightOf(name, direction == "REVERSE", i, n, 6.5); };
                expectSame(have, weightedTransform(samples, n, direction, weight), call);
            }
        }
    }
}

template <class Entry>
void expectVectorWindow(double fullScale) {
    const Doubles samples = randomSamples<double>(45, 6);
    const std::vector<Entry> window = randomSamples<Entry>(15, 7);
    const auto weight = [&](std::size_t i) { return static_cast<double>(window[i]) / fullScale; };
    for (const std::string direction : {"FORWARD", "REVERSE"})
        expectSame(partsOf("MIXRFFT (15, " + direction + ", w, x, FULL, PARTS, re:double, im:double)",
                           {{"[w]", window}, {"x", samples}}),
                   weightedTransform(samples, 15, direction, weight), std::to_string(fullScale));
}

TEST(Window, AVectorsEntryIsItsFractionOfFullScale) {
    expectVectorWindow<std::int16_t>(32767.0);
    expectVectorWindow<std::int32_t>(2147483647.0);
    expectVectorWindow<float>(1);
    expectVectorWindow<double>(1);
}

TEST(Window, AVectorIsReadAgainForEachBlock) {
    TestSession session({.feed = {.piece = 8}});
    session.input("source", Doubles(16, 1.0));
    const PipeId spectrum = session.output("spectrum", {}, ElementType::float64);
    const std::vector<std::int32_t> entries(8, 2147483647);
    const VectorId window = session.addVector("window", ElementType::int32, bytesOf(entries));
    addCall(session, "MIXRFFT (8, window, source, FULL, PARTS, spectrum)");
    session.script("open_read:2 pipe_rem:2,8 vector_store:3,0,0 *( pipe_rem:2,8 )", spectrum, window);
    session.run();
    const Doubles parts = session.collected<double>(spectrum);
    ASSERT_EQ(parts.size(), 16U);
    EXPECT_EQ(parts[0], 1);
    EXPECT_EQ(parts[8], 0.875);
}

template <class Element>
void expectWideningOf(std::size_t n) {
    const auto re = randomSamples<Element>(2 * n, 8), im = randomSamples<Element>(2 * n, 9);
    const std::string length = std::to_string(n);
    expectSame(partsOf("MIXRFFT (" + length + ", x, FULL, PARTS, re:double, im:double)", {{"x", re}}),
               transformOf({widened(re), Doubles(2 * n)}, n), length);
    expectSame(partsOf("MIXRFFT (" + length + ", x, y, PARTS, re:double, im:double)", {{"x", re}, {"y", im}}),
               transformOf({widened(re), widened(im)}, n), length);
}

TEST(Widening, SamplesOfEveryTypeAreWidened) {
    for (const std::size_t n : {4U, 63U, 64U, 65U, 360U}) {
        expectWideningOf<std::int16_t>(n);
        expectWideningOf<std::int32_t>(n);
        expectWideningOf<float>(n);
    }
}

TEST(MixedLengths, SpectraAreNearTheDirectOnesAndAreUndone) {
    for (const std::size_t n : {4U, 15U, 16U, 323U, 360U}) {
        const Doubles samples = randomSamples<double>(n, 10);
        const Parts have = transformOf({samples, Doubles(n)}, n), back = transformOf(have, n, "REVERSE");
        for (std::size_t k = 0; k < n; ++k) {
            ASSERT_LT(std::abs(std::complex(have.re[k], have.im[k]) - directTransform(samples, k)), 1e-8)
                << n << " at " << k;
            ASSERT_NEAR(back.re[k], samples[k], 1e-8) << n << " at " << k;
        }
    }
}

// What a form makes of the parts of one block.
Parts formOf(const std::string& form, const Parts& parts, bool folded) {
    Parts made;
    const std::size_t n = parts.re.size();
    for (std::size_t i = 0; i < (folded ? (n + 1) / 2 : n); ++i) {
        const double re = parts.re[i], im = parts.im[i], squares = re * re + im * im;
        const bool alone = folded && (i == 0 || 2 * i + 1 == n);
        const double power = alone ? re * re : folded ? squares * 2 : squares;
        made.re.push_back(form == "POWER" ? power : alone ? std::fabs(re) : std::sqrt(power));
        const bool tiny = !folded && std::fabs(re) <= 1.0000000180025095e-35;
        made.im.push_back(tiny ? std::copysign(1.5707963267948966, im < 0 ? -1 : 1) : zepl::atan2(alone ? 0 : im, re));
    }
    return made;
}

TEST(Form, EachFormIsWhatThePartsMake) {
    for (const std::size_t n : {15U, 16U, 18U, 27U}) {
        const Doubles re = randomSamples<double>(n, 13), im = randomSamples<double>(n, 14);
        for (const std::string form : {"POWER", "MAGNITUDE", "POLAR"}) {
            for (const std::string inputs : {", x, ", ", x, y, "}) {
                for (const std::string part : {"HALF, ", "FULL, "}) {
                    const bool real = inputs.size() == 5, half = part[0] == 'H';
                    const std::string text = "MIXRFFT (" + std::to_string(n) + inputs + part + form + ", re:double" +
                                             (form == "POLAR" ? ", im:double)" : ")");
                    const Call call(text, {{"x", re}, {"y", im}});
                    Parts want = formOf(form, transformOf({re, real ? Doubles(n) : im}, n), real && half);
                    want.re.resize(half ? (n + 1) / 2 : n);
                    want.im.resize(want.re.size());
                    EXPECT_EQ(bitsOf(call.taken<double>("re")), bitsOf(want.re)) << text;
                    if (form == "POLAR") {
                        EXPECT_EQ(bitsOf(call.taken<double>("im")), bitsOf(want.im)) << text;
                    }
                }
            }
        }
    }
}

// A reverse transform passes the first element of a block of zeros on to every place.
template <class Element>
void expectNarrowing() {
    const double inf = INFINITY;
    for (const double x : {0.0, -0.9, 1.9, 32767.0, 32767.9, 32768.0, -32768.9, -40000.0, 2147483647.5, 2147483648.0,
                           -2147483648.5, 1e300, -1e300, inf, -inf, std::nan("")}) {
        const auto made = resultOf<Element>("MIXRFFT (4, REVERSE, in, FULL, PARTS, out)", Doubles({x, 0, 0, 0}));
        ASSERT_EQ(made.size(), 4U);
        const Element have = made[0], want = clampedTo<Element>(x);
        EXPECT_TRUE(have == want || (have != have && want != want)) << x;
    }
}

TEST(Narrowing, ValuesAreClampedAndTruncated) {
    expectNarrowing<std::int16_t>();
    expectNarrowing<std::int32_t>();
    expectNarrowing<float>();
}

TEST(Narrowing, APhaseIsItsShareOfTheFullTurn) {
    constexpr double turn = 6.283185307179586, quarter = 1.5707963267948966;
    const std::tuple<double, double, double> cases[] = {
        {-1, 0, turn / 2},
        {-1, -1e-300, -turn / 2},
        {1, 1, turn / 8},
        {0, 0, quarter},
        {0, -1, -quarter},
        {1.0000000180025095e-35, -3, -quarter},
        {-1, 0.1, zepl::atan2(0.1, -1)},
        {-1.0000000180025095e-35, 0, quarter},
        {1.1e-35, 3e-35, zepl::atan2(3e-35, 1.1e-35)},
    };
    for (const auto& [re, im, phase] : cases) {
        const auto phaseIn = [&, parts = Parts{{re, 0, 0, 0}, {im, 0, 0, 0}}](const std::string& output) {
            return Call("MIXRFFT (4, REVERSE, x, y, POLAR, double, out:" + output + ")",
                        {{"x", parts.re}, {"y", parts.im}});
        };
        EXPECT_EQ(phaseIn("int16").taken<std::int16_t>().at(0), clampedTo<std::int16_t>(phase * 65535.0 / turn))
            << re << im;
        EXPECT_EQ(phaseIn("int32").taken<std::int32_t>().at(0), clampedTo<std::int32_t>(phase * 4294967295.0 / turn))
            << re << im;
        EXPECT_EQ(phaseIn("float").taken<float>().at(0), static_cast<float>(phase)) << re << im;
        EXPECT_EQ(phaseIn("double").taken<double>().at(0), phase) << re << im;
    }
    EXPECT_EQ(partsOf("MIXRFFT (4, x, HALF, POLAR, re:double, im:double)", {{"x", Doubles(4)}}).im, Doubles({0, 0}));
}

TEST(Narrowing, TheSecondPartTakesTheFirstPipesType) {
    const std::vector<std::int16_t> samples = randomSamples<std::int16_t>(8, 15);
    const Call alike("MIXRFFT (8, x, FULL, PARTS, re:int16, im:int16)", {{"x", samples}}),
        unlike("MIXRFFT (8, x, FULL, PARTS, re:int16, im:double)", {{"x", samples}});
    const Doubles second = unlike.taken<double>("im");
    std::vector<std::int16_t> front(8);
    std::memcpy(front.data(), second.data(), 16);
    EXPECT_EQ(front, alike.taken<std::int16_t>("im"));
}

TEST(MixrfftParameters, EveryFormOfTheListIsTaken) {
    expectReady({"MIXRFFT (8, int16, POWER, float)", "MIXRFFT (4, int16, PARTS, int16, int16)",
                 "MIXRFFT (360, REVERSE, double, double, FULL, POLAR, int16, float)",
                 "MIXRFFT (8, HAMMING, float, MAGNITUDE, double)",
                 "MIXRFFT (8, FORWARD, [0, 0, 0, 0, 0, 0, 0, 0]:double, int32, HALF, PARTS, int16)",
                 "MIXRFFT (8, [0, 0, 0, 0, 0, 0, 0, 0]:double, int16, int16, PARTS, int16, int16)",
                 "MIXRFFT (8, KAISER, 12.0, int16, FULL, POWER, int16)",
                 "MIXRFFT (8, REVERSE, KAISER, 0.5:float, int16, int16, HALF, POLAR, int16, int16)",
                 "MIXRFFT (1048576, RECTANGULAR, int16, PARTS, int16)"});
}

TEST(MixrfftParameters, ListsAreRefusedAtTheFirstMistake) {
    expectRefused({"MIXRFFT (3, int16, POWER, int16)", "MIXRFFT (16777217, int16, POWER, int16)"}, 5, 1);
    expectRefused({"MIXRFFT (23, HAMMING, int16, POWER, int16)"}, 6, 1);
    expectRefused({"MIXRFFT (9, [0, 0, 0, 0, 0, 0, 0, 0]:double, int16, POWER, int16)",
                   "MIXRFFT (9, FORWARD, [0, 0, 0, 0, 0, 0, 0, 0]:double, int16, POWER, int16)"},
                  1, 2);
    expectRefused({"MIXRFFT (8, KAISER, int16, POWER, int16)", "MIXRFFT (8, HAMMING, FORWARD, int16, POWER, int16)"}, 8,
                  3);
    expectRefused(
        {"MIXRFFT (8, FORWARD, KAISER, HALF, int16, POWER, int16)", "MIXRFFT (8, int16, int16, int16, PARTS, int16)"},
        8, 4);
    expectRefused(
        {"MIXRFFT (8, KAISER, 0.0, int16, POWER, int16)", "MIXRFFT (8, KAISER, 12.0000001, int16, POWER, int16)",
         "MIXRFFT (8, KAISER, nan, int16, POWER, int16)"},
        5, 3);
    expectRefused({"MIXRFFT (8, REVERSE, KAISER, -1.0:float, int16, POWER, int16)"}, 5, 4);
    expectRefused({"MIXRFFT (8, WELCH, int16, POWER, int16)"}, 8, 2);
    expectRefused({"MIXRFFT (8, int16, double, PARTS, int16, int16)"}, 3, 3);
    expectRefused({"MIXRFFT (8, FORWARD, HAMMING, int16)", "MIXRFFT (8, FORWARD, int16, HALF)",
                   "MIXRFFT (8, int16, HALF, POWER)"},
                  8, 5);
    expectRefused({"MIXRFFT (8, int16, POWER, int16, int16, int16)"}, 9, 6);
    expectRefused({"MIXRFFT (8, int16, POWER, POWER)"}, 10, 4);
    expectRefused({"MIXRFFT (8, int16, PARTS, int16, HALF)"}, 10, 5);
    expectRefused({"MIXRFFT (8, int16, POWER, int16, int16)"}, 7, 3);
    expectRefused({"MIXRFFT (8, int16, HALF, POLAR, int16)", "MIXRFFT (8, int16, HALF, FULL, int16)"}, 7, 4);
    EXPECT_EQ(Call("MIXRFFT (23, int16, POWER, int16)").report.console,
              Lines{"*** Warning: MIXRFFT block factoring failed"});
}

}  // namespace
}  // namespace libzepl
