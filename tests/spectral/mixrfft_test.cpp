// MIXRFFT: windows, forms of the spectrum and conversions against their plain definitions, bit for bit; its list of
// parameters with all that may be left out.

#include "tests/spectral/spectral_support.h"
#include "tests/support/arrivals.h"
#include "tests/support/covered.h"

namespace libzepl {
namespace {

const Covers covers("MIXRFFT");

double bessel(double x) {
    const double coefficients[] = {0.00458125, 0.03607677, 0.2659732, 1.2067492, 3.0899424, 3.5156229, 1.000000017};
    double sum = 0;
    for (const double c : coefficients) sum = sum * ((x / 3.75) * (x / 3.75)) + c;
    return sum;
}

double weightOf(const std::string& name, bool reverse, int i, int n, double beta) {
    const double t = i * 6.283185307179586 / n, c = std::cos(t), x = i * 2.0 / n;
    if (name == "BARTLETT" && reverse) return x < 0.5 ? 1.0 - x : x - 1.0;
    if (name == "BARTLETT") return x < 1.0 ? x : 2.0 - x;
    if (name == "VONHANN") return reverse ? 0.5 * c + 0.5 : 0.5 - 0.5 * c;
    if (name == "HAMMING") return reverse ? 0.46 * c + 0.54 : 0.54 - 0.46 * c;
    if (name == "BLACKMAN") return (reverse ? 0.5 * c + 0.42 : 0.42 - 0.5 * c) + 0.08 * std::cos(2 * t);
    if (name == "RECTANGULAR") return 1;
    const double u =
        reverse ? static_cast<double>(i <= n / 2 ? i : n - i) / n * 2.0 : static_cast<double>(i) / n * 2.0 - 1.0;
    return bessel(beta * std::sqrt(1.0 - u * u)) / bessel(beta);
}

// Real samples and their zero imaginary parts under a window.
template <class Weight>
Parts weighted(const Doubles& samples, int n, Weight weight) {
    Parts parts;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        parts.re.push_back(samples[i] * weight(static_cast<int>(i) % n));
        parts.im.push_back(0.0 * weight(static_cast<int>(i) % n));
    }
    return parts;
}

void expectSame(const Parts& have, const Parts& want, const std::string& what) {
    EXPECT_FALSE(want.re.empty()) << what;
    EXPECT_EQ(bitsOf(have.re), bitsOf(want.re)) << what;
    EXPECT_EQ(bitsOf(have.im), bitsOf(want.im)) << what;
}

TEST(Window, AWeightDiffersFromItsElementsOwn) {
    for (const char* name : {"BARTLETT", "VONHANN", "HAMMING", "BLACKMAN", "KAISER", "RECTANGULAR"}) {
        for (const char* direction : {"FORWARD", "REVERSE"}) {
            for (const int n : {4, 15, 16, 360}) {
                const Doubles samples = randomSamples<double>(static_cast<std::size_t>(3 * n), 5);
                OneTask task;
                std::vector<TaskArgument> list{int32Constant(n), word(direction), word(name)};
                if (name[0] == 'K') list.push_back(doubleConstant(6.5));
                for (const TaskArgument& argument :
                     {task.in(samples), word("FULL"), word("PARTS"), task.out(), task.out()})
                    list.push_back(argument);
                task.after("MIXRFFT", list);
                const Parts input =
                    weighted(samples, n, [&](int i) { return weightOf(name, *direction == 'R', i, n, 6.5); });
                expectSame({task.taken<double>(0), task.taken<double>(1)}, transformOf(input, n, direction),
                           std::string(name) + " " + direction + " " + std::to_string(n));
            }
        }
    }
}

template <class Entry>
void expectVectorWindow(double fullScale) {
    const Doubles samples = randomSamples<double>(45, 6);
    for (const char* direction : {"FORWARD", "REVERSE"}) {
        const std::vector<Entry> window = randomSamples<Entry>(15, 7);
        OneTask task;
        task.after("MIXRFFT", {int16(15), word(direction), task.vec(window), task.in(samples), word("FULL"),
                               word("PARTS"), task.out(), task.out()});
        const auto weight = [&](int i) { return static_cast<double>(window[static_cast<std::size_t>(i)]) / fullScale; };
        expectSame({task.taken<double>(0), task.taken<double>(1)},
                   transformOf(weighted(samples, 15, weight), 15, direction), std::to_string(fullScale));
    }
}

TEST(Window, AVectorsEntryIsNotItsFractionOfFullScale) {
    expectVectorWindow<std::int16_t>(32767.0);
    expectVectorWindow<std::int32_t>(2147483647.0);
    expectVectorWindow<float>(1);
    expectVectorWindow<double>(1);
}

TEST(Window, AVectorIsNotReadAnew) {
    TestSession session({.feed = {.piece = 8}});
    const PipeId source = session.input("source", Doubles(16, 1.0)),
                 spectrum = session.output("spectrum", {}, ElementType::float64);
    const VectorId window =
        session.addVector("window", ElementType::int32, bytesOf(std::vector<std::int32_t>(8, 2147483647)));
    session.task("MIXRFFT", int16(8), window, source, word("FULL"), word("PARTS"), spectrum);
    session.script("read:2 rem:2,8 enter:3,0,0 *( rem:2,8 )", spectrum, window);
    session.run();
    const Doubles parts = session.collected<double>(spectrum);
    ASSERT_EQ(parts.size(), 16U);
    EXPECT_EQ(parts[0], 1);
    EXPECT_EQ(parts[8], 0.875);
}

template <class Element>
void expectWideningOf(int n) {
    const std::vector<Element> samples = randomSamples<Element>(static_cast<std::size_t>(2 * n), 8);
    OneTask task;
    task.after("MIXRFFT", {int16(n), task.in(samples), word("FULL"), word("PARTS"), task.out(), task.out()});
    expectSame({task.taken<double>(0), task.taken<double>(1)},
               transformOf({widened(samples), Doubles(samples.size())}, n), "real");
    const std::vector<Element> imaginary = randomSamples<Element>(samples.size(), 9);
    OneTask complex;
    complex.after("MIXRFFT",
                  {int16(n), complex.in(samples), complex.in(imaginary), word("PARTS"), complex.out(), complex.out()});
    expectSame({complex.taken<double>(0), complex.taken<double>(1)},
               transformOf({widened(samples), widened(imaginary)}, n), "complex");
}

TEST(Widening, ASampleIsLostOrChanged) {
    for (const int n : {4, 63, 64, 65, 360}) {
        expectWideningOf<std::int16_t>(n);
        expectWideningOf<std::int32_t>(n);
        expectWideningOf<float>(n);
        expectWideningOf<double>(n);
    }
}

TEST(MixedLengths, ASpectrumIsFarFromTheDirectOne) {
    for (const std::size_t n : {4U, 15U, 16U, 323U, 360U}) {
        const Doubles samples = randomSamples<double>(n, 10);
        const Parts have = transformOf({samples, Doubles(n)}, static_cast<std::int32_t>(n));
        const auto want = directTransform(samples);
        for (std::size_t k = 0; k < n; ++k)
            ASSERT_LT(std::abs(std::complex(have.re[k], have.im[k]) - want[k]), 1e-8) << n << " at " << k;
    }
}

TEST(MixedLengths, ReverseDoesNotUndoForward) {
    const Parts given{randomSamples<double>(720, 11), randomSamples<double>(720, 12)};
    const Parts back = transformOf(transformOf(given, 360), 360, "REVERSE");
    ASSERT_EQ(back.re.size(), 720U);
    for (std::size_t i = 0; i < 720; ++i) {
        ASSERT_NEAR(back.re[i], given.re[i], 1e-8);
        ASSERT_NEAR(back.im[i], given.im[i], 1e-8);
    }
}

// What a form makes of the parts of one block.
Parts formOf(const std::string& form, const Parts& parts, bool folded) {
    Parts made;
    const std::size_t n = parts.re.size(), half = (n + 1) / 2;
    for (std::size_t i = 0; i < (folded ? half : n); ++i) {
        const double re = parts.re[i], im = parts.im[i], squares = re * re + im * im;
        const bool alone = folded && (i == 0 || (n % 2 == 1 && i == n / 2));
        const double power = alone ? re * re : folded ? squares * 2 : squares;
        made.re.push_back(form == "POWER" ? power : alone ? std::fabs(re) : std::sqrt(power));
        const bool tiny = !folded && std::fabs(re) <= 1.0000000180025095e-35;
        made.im.push_back(tiny ? std::copysign(1.5707963267948966, im < 0 ? -1 : 1) : std::atan2(alone ? 0 : im, re));
    }
    return made;
}

TEST(Form, AnElementDiffersFromWhatItsPartsMake) {
    for (const int n : {15, 16, 18, 27}) {
        const auto count = static_cast<std::size_t>(n);
        const Parts given{randomSamples<double>(count, 13), randomSamples<double>(count, 14)};
        for (const char* form : {"POWER", "MAGNITUDE", "POLAR"}) {
            for (const bool real : {true, false}) {
                for (const char* part : {"HALF", "FULL"}) {
                    OneTask task;
                    std::vector<TaskArgument> list{int16(n), task.in(given.re)};
                    if (!real) list.push_back(task.in(given.im));
                    list.insert(list.end(), {word(part), word(form), task.out()});
                    if (form[1] == 'O' && form[2] == 'L') list.push_back(task.out());
                    task.after("MIXRFFT", list);
                    const bool half = *part == 'H';
                    Parts want =
                        formOf(form, transformOf({given.re, real ? Doubles(count) : given.im}, n), real && half);
                    want.re.resize(half ? (count + 1) / 2 : count);
                    want.im.resize(want.re.size());
                    const std::string what = std::string(form) + part + (real ? "real" : "complex") + std::to_string(n);
                    EXPECT_EQ(bitsOf(task.taken<double>(0)), bitsOf(want.re)) << what;
                    if (list.size() == (real ? 6U : 7U)) {
                        EXPECT_EQ(bitsOf(task.taken<double>(1)), bitsOf(want.im)) << what;
                    }
                }
            }
        }
    }
}

// A reverse transform passes the first element of a block of zeros on to every place.
Parts blocksOf(const std::vector<std::pair<double, double>>& firsts) {
    Parts parts{Doubles(4 * firsts.size()), Doubles(4 * firsts.size())};
    for (std::size_t i = 0; i < firsts.size(); ++i) std::tie(parts.re[4 * i], parts.im[4 * i]) = firsts[i];
    return parts;
}

template <class Element>
void expectNarrowing() {
    const double inf = INFINITY, all[] = {0,        -0.9,     1.9,      32767.0,      32767.9,      32768.0,
                                          -32768.0, -32768.9, -40000.0, 2147483647.5, 2147483648.0, -2147483648.5,
                                          1e300,    -1e300,   inf,      -inf,         std::nan("")};
    for (const double x : all) {
        const Parts given = blocksOf({{x, 0}});
        OneTask task;
        task.after("MIXRFFT", {int16(4), word("REVERSE"), task.in(given.re), word("FULL"), word("PARTS"),
                               task.out(elementTypeOf<Element>())});
        const std::vector<Element> want(1, clampedTo<Element>(x));
        ASSERT_EQ(task.taken<Element>(0).size(), 4U);
        if (x == x || std::is_integral_v<Element>) {
            EXPECT_EQ(task.taken<Element>(0)[0], want[0]) << x;
        } else {
            EXPECT_TRUE(std::isnan(static_cast<double>(task.taken<Element>(0)[0])));
        }
    }
}

TEST(Narrowing, AValueIsNotClampedAndTruncated) {
    expectNarrowing<std::int16_t>();
    expectNarrowing<std::int32_t>();
    expectNarrowing<float>();
}

TEST(Narrowing, APhaseIsNotItsShareOfTheFullTurn) {
    const std::vector<std::pair<double, double>> firsts{{-1, 0}, {-1, -1e-300},        {1, 1},           {0, 0},
                                                        {0, -1}, {1.00000001e-35, -3}, {1.1e-35, 3e-35}, {-1, 0.1}};
    const Parts given = blocksOf(firsts);
    for (const ElementType type : allElementTypes) {
        OneTask task;
        task.after("MIXRFFT", {int16(4), word("REVERSE"), task.in(given.re), task.in(given.im), word("POLAR"),
                               task.out(), task.out(type)});
        Doubles have(4 * firsts.size());
        if (type == ElementType::int16) have = widened(task.taken<std::int16_t>(1));
        if (type == ElementType::int32) have = widened(task.taken<std::int32_t>(1));
        if (type == ElementType::float32) have = widened(task.taken<float>(1));
        if (type == ElementType::float64) have = task.taken<double>(1);
        ASSERT_EQ(have.size(), 4 * firsts.size());
        for (std::size_t i = 0; i < firsts.size(); ++i) {
            const auto [re, im] = firsts[i];
            double phase = std::fabs(re) < 1.00000005e-35 ? std::copysign(1.5707963267948966, im < 0 ? -1.0 : 1.0)
                                                          : std::atan2(im, re);
            if (type == ElementType::int16) phase = clampedTo<std::int16_t>(phase * 65535.0 / 6.283185307179586);
            if (type == ElementType::int32) phase = clampedTo<std::int32_t>(phase * 4294967295.0 / 6.283185307179586);
            if (type == ElementType::float32) phase = static_cast<float>(phase);
            EXPECT_EQ(have[4 * i], phase) << re << " " << im << " " << nameOf(type);
        }
    }
    OneTask folded;
    folded.after("MIXRFFT", {int16(4), folded.in(Doubles(4)), word("HALF"), word("POLAR"), folded.out(), folded.out()});
    EXPECT_EQ(folded.taken<double>(1), Doubles({0, 0}));
}

TEST(Narrowing, TheSecondPartTakesItsOwnPipesType) {
    const std::vector<std::int16_t> samples = randomSamples<std::int16_t>(8, 15);
    OneTask alike, unlike;
    alike.after("MIXRFFT", {int16(8), alike.in(samples), word("FULL"), word("PARTS"), alike.out(ElementType::int16),
                            alike.out(ElementType::int16)});
    unlike.after("MIXRFFT", {int16(8), unlike.in(samples), word("FULL"), word("PARTS"), unlike.out(ElementType::int16),
                             unlike.out()});
    std::vector<std::int16_t> front(8);
    const Doubles second = unlike.taken<double>(1);
    ASSERT_EQ(second.size(), 8U);
    std::memcpy(front.data(), second.data(), 16);
    EXPECT_EQ(front, alike.taken<std::int16_t>(1));
}

TEST(MixrfftArrival, TheArrivalOfTheInputChangesTheOutput) {
    const std::vector<std::int16_t> samples = randomSamples<std::int16_t>(180 * 5 + 179, 16);
    const auto expected = sameForEveryArrival(180, [&](FeedPolicy feed) {
        OneTask task(feed);
        task.after("MIXRFFT",
                   {int16(180), word("HAMMING"), task.in(samples), word("MAGNITUDE"), task.out(ElementType::int32)});
        return task.taken<std::int32_t>(0);
    });
    EXPECT_EQ(expected.size(), 5U * 90);
}

// The list that makes of the arguments: numbers are int16, "*" is an int16 input, "." a double one, ">" an int16 output, "v"
// a vector of 8 entries, other texts are words or, with a point, floats.
std::string stateOf(const std::string& text, Lines* console = nullptr) {
    OneTask task;
    std::vector<TaskArgument> list;
    std::istringstream stream(text);
    for (std::string item; stream >> item;) {
        if (item == "*" || item == ".")
            list.push_back(task.silent(item == "*" ? ElementType::int16 : ElementType::float64));
        else if (item == ">")
            list.push_back(task.out(ElementType::int16));
        else if (item == "v")
            list.push_back(task.vec(Doubles(8)));
        else if (item.find('.') != std::string::npos)
            list.push_back(item.back() == 'f' ? floatConstant(std::stof(item)) : doubleConstant(std::stod(item)));
        else if (std::isupper(item[0]))
            list.push_back(word(item.c_str()));
        else
            list.push_back(std::stol(item) > 32767 ? int32Constant(std::stoi(item)) : int16(std::stoi(item)));
    }
    const std::string state = task.state("MIXRFFT", list);
    if (console != nullptr) *console = task.console;
    return state;
}

TEST(MixrfftParameters, AListThatFitsIsRefused) {
    for (const char* list :
         {"8 * POWER >", "4 * PARTS > >", "360 REVERSE * * FULL POLAR > >", "8 HAMMING * MAGNITUDE >",
          "8 FORWARD v * HALF PARTS >", "8 v * * PARTS > >", "8 KAISER 12.0 * FULL POWER >",
          "8 REVERSE KAISER 0.5f * * HALF POLAR > >", "1048576 RECTANGULAR * PARTS >"})
        EXPECT_EQ(stateOf(list), "waiting") << list;
}

TEST(MixrfftParameters, AFaultIsBlamedOnAnotherPlace) {
    const std::pair<const char*, const char*> cases[] = {
        {"3 * POWER >", "5 at 1"},
        {"16777217 * POWER >", "5 at 1"},
        {"23 HAMMING * POWER >", "6 at 1"},
        {"9 v * POWER >", "1 at 2"},
        {"9 FORWARD v * POWER >", "1 at 2"},
        {"8 KAISER * POWER >", "8 at 3"},
        {"8 FORWARD KAISER HALF * POWER >", "8 at 4"},
        {"8 KAISER 0.0 * POWER >", "5 at 3"},
        {"8 KAISER 12.0000001 * POWER >", "5 at 3"},
        {"8 REVERSE KAISER -1.0f * POWER >", "5 at 4"},
        {"8 KAISER nan. * POWER >", "5 at 3"},
        {"8 WELCH * POWER >", "8 at 2"},            // no window, so the word stands where the input should
        {"8 HAMMING FORWARD * POWER >", "8 at 3"},  // the direction comes first
        {"8 FORWARD REVERSE * POWER >", "8 at 3"},
        {"8 * . PARTS > >", "3 at 3"},
        {"8 FORWARD HAMMING *", "8 at 5"},  // nothing behind the input
        {"8 FORWARD * HALF", "8 at 5"},     // nothing behind the output form
        {"8 * HALF POWER", "8 at 5"},       // no output
        {"8 * * * PARTS >", "8 at 4"},      // a third input stands where a word should
        {"8 HAMMING * * PARTS", "8 at 6"},
        {"8 * POWER > > >", "9 at 6"},
        {"8 FORWARD HAMMING * FULL PARTS > > >", "9 at 9"},
        {"8 * POWER POWER", "10 at 4"},
        {"8 * PARTS > HALF", "10 at 5"},
        {"8 * POWER > >", "7 at 3"},
        {"8 * HALF POLAR >", "7 at 4"},
        {"8 * HALF FULL >", "7 at 4"},
    };
    for (const auto& [list, code] : cases) EXPECT_EQ(stateOf(list), std::string("error code ") + code) << list;
}

TEST(MixrfftParameters, ALengthThatDoesNotFactorIsNotTold) {
    Lines console;
    stateOf("23 * POWER >", &console);
    EXPECT_EQ(console, Lines{"*** Warning: MIXRFFT block factoring failed"});
}

}  // namespace
}  // namespace libzepl
