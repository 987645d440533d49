// Mathematics. The C library has none of it: which of its codes computes a sine depends on the processor, and so does the last
// bit.

#include <sleef.h>

#include <cmath>

#include "host/mathematics.h"
#include "runtime/base/mathematics.h"
#include "runtime/host/mathematics.h"
#include "runtime/host/mathematics_loops.h"

// What every processor of the architecture has. A plain double is slower than one lane of two.
#if defined(__x86_64__)
#define LIBZEPL_FUNCTION(name) Sleef_cinz_##name##d2_u10sse2
#elif defined(__aarch64__)
#define LIBZEPL_FUNCTION(name) Sleef_cinz_##name##d2_u10advsimdnofma
#else
#define LIBZEPL_FUNCTION(name) Sleef_cinz_##name##d1_u10purec
#endif

namespace libzepl {

namespace {

#if defined(__x86_64__)
constexpr const char* baselineName = "SSE2";
using BaselineLanes = __m128d;
#elif defined(__aarch64__)
constexpr const char* baselineName = "AdvSIMD";
using BaselineLanes = float64x2_t;
#else
constexpr const char* baselineName = "plain";
using BaselineLanes = double;
#endif

constexpr MathematicsForm baselineMathematics = LIBZEPL_FORM(baselineName, BaselineLanes);

template <auto function>
double one(double x) {
    double result;
    store<BaselineLanes>(function(load<BaselineLanes>(&x, 1)), &result, 1);
    return result;
}

template <auto function>
double one(double x, double y) {
    double result;
    store<BaselineLanes>(function(load<BaselineLanes>(&x, 1), load<BaselineLanes>(&y, 1)), &result, 1);
    return result;
}

// Also while other libraries' start-up calls it: a module's start-up layer may.
const MathematicsForm& fastest() {
    static const MathematicsForm& form = mathematicsForms().back();
    return form;
}

}  // namespace

std::span<const MathematicsForm> mathematicsForms() {
#ifdef __x86_64__
    static const MathematicsForm forms[] = {baselineMathematics, avxMathematics, avx512Mathematics};
    __builtin_cpu_init();
    const std::size_t count = !__builtin_cpu_supports("avx") ? 1 : !__builtin_cpu_supports("avx512f") ? 2 : 3;
    return {forms, count};
#else
    return {&baselineMathematics, 1};
#endif
}

double naturalLogarithm(double x) { return one<LIBZEPL_LATE(log)>(x); }
double tangent(double x) { return one<LIBZEPL_LATE(tan)>(x); }

void naturalLogarithms(const double* x, double* result, std::int32_t n) { fastest().log(x, result, n); }
void tangents(const double* x, double* result, std::int32_t n) { fastest().tan(x, result, n); }

}  // namespace libzepl

namespace zepl {

using namespace libzepl;

double sqrt(double x) { return std::sqrt(x); }
double fabs(double x) { return std::fabs(x); }
double floor(double x) { return std::floor(x); }

double exp(double x) { return one<LIBZEPL_LATE(exp)>(x); }
double log10(double x) { return one<LIBZEPL_LATE(log10)>(x); }
double cos(double x) { return one<LIBZEPL_LATE(cos)>(x); }
double sin(double x) { return one<LIBZEPL_LATE(sin)>(x); }
double atan2(double y, double x) { return one<LIBZEPL_LATE(atan2)>(y, x); }
double pow(double x, double y) { return one<LIBZEPL_LATE(pow)>(x, y); }

void exp_array(const double* x, double* result, std::int32_t n) { fastest().exp(x, result, n); }
void log10_array(const double* x, double* result, std::int32_t n) { fastest().log10(x, result, n); }
void cos_array(const double* x, double* result, std::int32_t n) { fastest().cos(x, result, n); }
void sin_array(const double* x, double* result, std::int32_t n) { fastest().sin(x, result, n); }
void atan2_array(const double* y, const double* x, double* result, std::int32_t n) { fastest().atan2(y, x, result, n); }
void pow_array(const double* x, const double* y, double* result, std::int32_t n) { fastest().pow(x, y, result, n); }

// The double root of a 32-bit value is exact where the value is a square and never rounds up to the next integer.
std::int32_t isqrt(std::int32_t value) { return value > 0 ? static_cast<std::int32_t>(std::sqrt(value)) : 0; }

}  // namespace zepl
