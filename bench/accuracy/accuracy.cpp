// Measures how far the host's mathematics are from the truth, which MPFR has to 200 bits, in units in the last place: of the
// distance of neighbouring doubles where the true result lies. Prints a table.

#include <mpfr.h>

#include <bit>
#include <cmath>
#include <cstdio>
#include <random>
#include <string>

#include "host/mathematics.h"

namespace {

class Real {
 public:
    Real() { mpfr_init2(value_, 200); }
    explicit Real(double x) : Real() { mpfr_set_d(value_, x, MPFR_RNDN); }
    Real(const Real&) = delete;
    Real& operator=(const Real&) = delete;
    ~Real() { mpfr_clear(value_); }
    operator mpfr_ptr() { return value_; }

 private:
    mpfr_t value_;
};

using Draw = double (*)(std::mt19937_64& random);

struct Function {
    const char* name;
    double (*host)(double, double);
    void (*exact)(mpfr_ptr result, mpfr_ptr x, mpfr_ptr y);
};

struct Range {
    const Function& function;
    const char* arguments;
    Draw x, y;
};

template <int low, int high>
double between(std::mt19937_64& random) {
    return std::uniform_real_distribution<double>(low, high)(random);
}

double anyBits(std::mt19937_64& random) { return std::bit_cast<double>(random()); }
double anyPositive(std::mt19937_64& random) { return std::fabs(anyBits(random)); }
double nearOne(std::mt19937_64& random) { return 1 + between<-1, 1>(random) / 16; }
double whole(std::mt19937_64& random) { return std::floor(between<-40, 41>(random)); }

#define UNARY(name)                                                                                           \
    {                                                                                                         \
#name, [](double x, double) { return zepl::name(x); }, [](mpfr_ptr r, mpfr_ptr x,                     \
                                                                  mpfr_ptr) { mpfr_##name(r, x, MPFR_RNDN); } \
    }
#define BINARY(name)                                                                                                 \
    {                                                                                                                \
#name, [](double x, double y) { return zepl::name(x, y); },                                                  \
                                                                 [](mpfr_ptr r, mpfr_ptr x,                          \
                                                                    mpfr_ptr y) { mpfr_##name(r, x, y, MPFR_RNDN); } \
    }

const Function exponential UNARY(exp), logarithm UNARY(log10), cosine UNARY(cos), sine UNARY(sin), angle BINARY(atan2),
    power BINARY(pow);

const Range ranges[] = {
    {exponential, "-1 to 1", between<-1, 1>, between<0, 1>},
    {exponential, "-745 to 709", between<-745, 709>, between<0, 1>},
    {logarithm, "0 to 2", between<0, 2>, between<0, 1>},
    {logarithm, "all positive", anyPositive, between<0, 1>},
    {sine, "-4 to 4", between<-4, 4>, between<0, 1>},
    {sine, "-100000 to 100000", between<-100000, 100000>, between<0, 1>},
    {sine, "all", anyBits, between<0, 1>},
    {cosine, "-4 to 4", between<-4, 4>, between<0, 1>},
    {cosine, "-100000 to 100000", between<-100000, 100000>, between<0, 1>},
    {cosine, "all", anyBits, between<0, 1>},
    {angle, "-1 to 1 each", between<-1, 1>, between<-1, 1>},
    {angle, "all", anyBits, anyBits},
    {power, "0 to 10, to the -20 to 20", between<0, 10>, between<-20, 20>},
    {power, "15/16 to 17/16, to the -9000 to 9000", nearOne, between<-9000, 9000>},
    {power, "-100 to 100, to the whole -40 to 40", between<-100, 100>, whole},
    {power, "all positive, to the -2 to 2", anyPositive, between<-2, 2>},
};

// Negative where no error is defined: of what is no number, and where the result is infinite, as it may be near the end of the
// range of doubles.
double errorOf(const Function& function, double x, double y, Real& exact, Real& difference) {
    Real first(x), second(y);
    function.exact(exact, first, second);
    const double nearest = mpfr_get_d(exact, MPFR_RNDN);
    if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(nearest)) return -1;
    const double have = function.host(x, y);
    if (!std::isfinite(have)) return std::fabs(nearest) < 1.79769e308 ? HUGE_VAL : -1;
    const long exponent = mpfr_zero_p(exact) ? -1074 : std::max(mpfr_get_exp(exact) - 53L, -1074L);
    mpfr_sub_d(difference, exact, have, MPFR_RNDN);
    mpfr_div_2si(difference, difference, exponent, MPFR_RNDN);
    return std::fabs(mpfr_get_d(difference, MPFR_RNDN));
}

void measure(const Range& range, long count) {
    std::mt19937_64 random(1);
    Real exact, difference;
    double worst = 0, atX = 0, atY = 0;
    long rounded = 0, counted = 0;
    for (long i = 0; i < count; ++i) {
        const double x = range.x(random), y = range.y(random), error = errorOf(range.function, x, y, exact, difference);
        if (error < 0) continue;
        ++counted;
        rounded += error <= 0.5;
        if (error <= worst) continue;
        worst = error;
        atX = x;
        atY = y;
    }
    const bool isPair = range.function.name == std::string("atan2") || range.function.name == std::string("pow");
    std::printf("| `%s` | %s | %.3f | %.2f %% | %a%s", range.function.name, range.arguments, worst,
                100.0 * static_cast<double>(rounded) / static_cast<double>(counted), atX, isPair ? ", " : " |\n");
    if (isPair) std::printf("%a |\n", atY);
}

}  // namespace

// zepl_accuracy COUNT
int main(int count, char** words) {
    const long samples = count > 1 ? std::stol(words[1]) : 100000;
    std::printf("| function | arguments | greatest error | correctly rounded | at |\n|---|---|--:|--:|---|\n");
    for (const Range& range : ranges) measure(range, samples);
}
