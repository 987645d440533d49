// The host's mathematics: all its forms to the bit, what is known exactly, and how near to the truth the rest is.

#include <gtest/gtest.h>

#include <numbers>

#include "host/mathematics.h"
#include "runtime/host/mathematics.h"
#include "tests/support/samples.h"

namespace libzepl {
namespace {

using Doubles = std::vector<double>;

constexpr double infinity = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();
constexpr double most = std::numeric_limits<double>::max(), least = std::numeric_limits<double>::denorm_min();

// One function as a scalar operation, as an operation on arrays, in a form, and in greater precision.
struct Function {
    const char* name;
    double (*one)(double, double);
    void (*array)(const double*, const double*, double*, std::int32_t);
    void (*formed)(const MathematicsForm&, const double*, const double*, double*, std::int32_t);
    long double (*exact)(long double, long double);
};

#define UNARY(function)                                                                              \
    {                                                                                                \
#function, [](double x, double) { return zepl::function(x); },                                     \
            [](const double* x, const double*, double* r, std::int32_t n) { zepl::function##_array(x, r, n); }, \
            [](const MathematicsForm& form, const double* x, const double*, double* r, std::int32_t n) {    \
                form.function(x, r, n);                                                                     \
            },                                                                                              \
            [](long double x, long double) { return std::function(x); } \
    }
#define BINARY(function)                                                                                  \
    {                                                                                                     \
#function, [](double x, double y) { return zepl::function(x, y); },                                     \
            [](const double* x, const double* y, double* r, std::int32_t n) { zepl::function##_array(x, y, r, n); }, \
            [](const MathematicsForm& form, const double* x, const double* y, double* r, std::int32_t n) {       \
                form.function(x, y, r, n);                                                                       \
            },                                                                                                   \
            [](long double x, long double y) { return std::function(x, y); } \
    }
const Function functions[] = {UNARY(exp), UNARY(log10), UNARY(cos), UNARY(sin), BINARY(atan2), BINARY(pow)};

// Special values, all exponents, random bits and ordinary numbers, in random order, so that all sorts meet in a vector.
Doubles argumentsOfAllSorts(std::size_t n, std::uint64_t seed) {
    static const Doubles edges = edgeSamples<double>();
    const Doubles special{0.0,    -0.0, 1,      -1,    infinity, -infinity, nan,  -nan,  least,
                          -least, most, -most,  0.5,   2,        -3,        15,   -15,   1e14,
                          1e15,   1e22, 0x1p53, 709.8, -745,     -746,      1024, -1074, -1e300};
    const Doubles ordinary = randomSamples<double>(n, seed);
    std::mt19937_64 random(seed);
    Doubles x(n);
    for (std::size_t i = 0; i < n; ++i) {
        const std::uint64_t draw = random(), sort = draw % 4, place = draw >> 8;
        x[i] = sort == 0 ? special[place % special.size()] : sort == 1 ? edges[place % edges.size()] : ordinary[i];
    }
    return x;
}

Doubles oneByOne(const Function& function, const Doubles& x, const Doubles& y) {
    Doubles result(x.size());
    for (std::size_t i = 0; i < x.size(); ++i) result[i] = function.one(x[i], y[i]);
    return result;
}

TEST(Mathematics, EveryFormGivesTheBitsOfTheScalarOperations) {
    constexpr std::int32_t n = 1 << 20;
    const Doubles x = argumentsOfAllSorts(n, 1), y = argumentsOfAllSorts(n, 2);
    for (const Function& function : functions) {
        const Doubles expected = oneByOne(function, x, y);
        for (const MathematicsForm& form : mathematicsForms()) {
            Doubles result(n);
            function.formed(form, x.data(), y.data(), result.data(), n);
            const auto have = bitsOf(result), want = bitsOf(expected);
            const auto at =
                static_cast<std::size_t>(std::mismatch(have.begin(), have.end(), want.begin()).first - have.begin());
            ASSERT_EQ(at, x.size()) << form.name << ": " << function.name << " of " << x[at] << " and " << y[at];
        }
    }
}

TEST(Mathematics, AnArrayHasAnyLengthAndCanTakeItsResultInPlace) {
    for (const Function& function : functions) {
        for (std::int32_t n = -1; n < 35; ++n) {
            const Doubles x = argumentsOfAllSorts(36, 3), y = argumentsOfAllSorts(36, 4);
            Doubles expected = oneByOne(function, x, y), apart(36), first = x, second = y;
            const auto count = static_cast<std::size_t>(std::max(n, 0));
            function.array(x.data(), y.data(), apart.data(), n);
            function.array(first.data(), y.data(), first.data(), n);
            std::fill(expected.begin() + static_cast<std::ptrdiff_t>(count), expected.end(), 0.0);
            EXPECT_EQ(bitsOf(apart), bitsOf(expected)) << function.name << " " << n;
            std::copy(x.begin() + static_cast<std::ptrdiff_t>(count), x.end(),
                      expected.begin() + static_cast<std::ptrdiff_t>(count));
            EXPECT_EQ(bitsOf(first), bitsOf(expected)) << function.name << " " << n;
            if (std::string(function.name) != "atan2" && std::string(function.name) != "pow") continue;
            function.array(x.data(), second.data(), second.data(), n);
            std::copy(y.begin() + static_cast<std::ptrdiff_t>(count), y.end(),
                      expected.begin() + static_cast<std::ptrdiff_t>(count));
            EXPECT_EQ(bitsOf(second), bitsOf(expected)) << function.name << " " << n;
        }
    }
}

TEST(Mathematics, WhatIsNoNumberHasOnePattern) {
    const double negative = std::bit_cast<double>(0xfff8000000000001);
    for (const double result :
         {zepl::exp(-nan), zepl::log10(-1), zepl::log10(-infinity), zepl::log10(negative), zepl::sin(infinity),
          zepl::cos(-infinity), zepl::sin(negative), zepl::atan2(negative, 1), zepl::atan2(1, -nan), zepl::pow(-1, 0.5),
          zepl::pow(negative, 1)})
        EXPECT_EQ(std::bit_cast<std::uint64_t>(result), 0x7ff8000000000000U);
}

struct Known {
    double x, result;
};
struct KnownPair {
    double x, y, result;
};

void expectKnown(double (*function)(double), const std::vector<Known>& cases) {
    for (const auto& [x, result] : cases)
        EXPECT_EQ(std::bit_cast<std::uint64_t>(function(x)), std::bit_cast<std::uint64_t>(result))
            << x << ": " << function(x);
}
void expectKnown(double (*function)(double, double), const std::vector<KnownPair>& cases) {
    for (const auto& [x, y, result] : cases)
        EXPECT_EQ(std::bit_cast<std::uint64_t>(function(x, y)), std::bit_cast<std::uint64_t>(result))
            << x << ", " << y << ": " << function(x, y);
}

TEST(KnownAnswers, PowersOfTenHaveWholeLogarithms) {
    for (int k = -307; k <= 308; ++k) EXPECT_EQ(zepl::log10(std::stod("1e" + std::to_string(k))), k);
    expectKnown(zepl::log10, {{0.0, -infinity}, {-0.0, -infinity}, {1, 0.0}, {infinity, infinity}});
}

// pi is rounded, and so are its multiples: what is not quite nothing is the sine of the error.
TEST(KnownAnswers, TheQuarterTurnsOfTheWavesAreThoseOfTheRoundedPi) {
    using std::numbers::pi;
    constexpr double error = 0x1.1a62633145c07p-53;
    expectKnown(zepl::sin,
                {{pi * -1, -error}, {pi * -0.5, -1}, {pi * -0.0, -0.0}, {0.0, 0.0}, {pi * 0.5, 1}, {pi, error}});
    expectKnown(zepl::cos, {{pi * -1, -1}, {pi * -0.5, error / 2}, {pi * 0.0, 1}, {pi * 0.5, error / 2}, {pi, -1}});
}

TEST(KnownAnswers, TheExponentialIsExactWhereItIsWhole) {
    expectKnown(
        zepl::exp,
        {{0.0, 1}, {-0.0, 1}, {infinity, infinity}, {-infinity, 0.0}, {-1e6, 0.0}, {1e6, infinity}, {least, 1}});
}

TEST(KnownAnswers, WholePowersThatFitAreExact) {
    for (int base = -100; base <= 100; ++base) {
        double product = 1;
        for (int k = 0; std::fabs(product) < 0x1p53 && k < 60; ++k, product *= base)
            EXPECT_EQ(zepl::pow(base, k), product) << base << " to the " << k;
    }
    for (int k = -1022; k < 1024; ++k) EXPECT_EQ(zepl::pow(2, k), std::ldexp(1.0, k)) << k;
}

TEST(KnownAnswers, ZerosAndInfinitiesArePoweredAsTheStandardSays) {
    expectKnown(zepl::pow, {{nan, 0.0, 1},
                            {1, nan, 1},
                            {0.0, -3, infinity},
                            {-0.0, -3, -infinity},
                            {-0.0, -2, infinity},
                            {-0.0, 3, -0.0},
                            {-0.0, 2.5, 0.0},
                            {-1, infinity, 1},
                            {-1, -infinity, 1},
                            {0.5, infinity, 0.0},
                            {0.5, -infinity, infinity},
                            {2, -infinity, 0.0},
                            {-infinity, -3, -0.0},
                            {-infinity, 3, -infinity},
                            {-infinity, 2, infinity},
                            {infinity, -1, 0.0}});
}

TEST(KnownAnswers, AnglesKeepTheQuadrantAndTheSignsOfZeros) {
    using std::numbers::pi;
    expectKnown(zepl::atan2, {{0.0, 1, 0.0},
                              {-0.0, 1, -0.0},
                              {0.0, -1, pi},
                              {-0.0, -1, -pi},
                              {0.0, 0.0, 0.0},
                              {-0.0, 0.0, -0.0},
                              {0.0, -0.0, pi},
                              {-0.0, -0.0, -pi},
                              {1, 0.0, pi / 2},
                              {-1, -0.0, -pi / 2},
                              {1, 1, pi / 4},
                              {-1, 1, -pi / 4},
                              {1, infinity, 0.0},
                              {-1, -infinity, -pi},
                              {infinity, 1, pi / 2},
                              {infinity, infinity, pi / 4},
                              {infinity, -infinity, 3 * pi / 4}});
}

// The distance of neighbours at `exact`.
long double unitAt(long double exact) { return std::ldexp(1.0L, std::max(std::ilogb(exact), -1022) - 52); }

TEST(Mathematics, ResultsAreWithinAUnitInTheLastPlace) {
    constexpr std::size_t n = 100000;
    const Doubles x = randomSamples<double>(n, 5), y = randomSamples<double>(n, 6);
    for (const Function& function : functions) {
        for (std::size_t i = 0; i < n; ++i) {
            // A third of the arguments of powers is small enough for results in range.
            const double a = function.name == std::string("pow") ? std::fabs(x[i]) : x[i],
                         b = i % 3 == 0 ? y[i] / 1e5 : y[i];
            const long double exact = function.exact(a, b);
            if (std::isnan(exact) || std::fabs(exact) > 0x1p1023L || exact == 0) continue;
            const long double error = std::fabs(function.one(a, b) - exact) / unitAt(exact);
            ASSERT_LE(error, 1.0L) << function.name << " of " << a << " and " << b;
        }
    }
}

TEST(Mathematics, IntegerRootsRoundDownAtTheirEdges) {
    for (const std::int32_t root : {1, 2, 3, 255, 256, 4096, 32767, 46339, 46340}) {
        EXPECT_EQ(zepl::isqrt(root * root), root);
        EXPECT_EQ(zepl::isqrt(root * root - 1), root - 1);
    }
    EXPECT_EQ(zepl::isqrt(2147483647), 46340);
}

}  // namespace
}  // namespace libzepl
