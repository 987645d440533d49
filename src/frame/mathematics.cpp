#include "frame/mathematics.h"

#include "host/mathematics.h"

namespace zcmds {

namespace {

template <auto function>
void each(const double* x, double* result, std::int32_t n) {
    for (std::int32_t i = 0; i < n; ++i) result[i] = (mathematics.*function)(x[i]);
}

template <auto function>
void eachPair(const double* x, const double* y, double* result, std::int32_t n) {
    for (std::int32_t i = 0; i < n; ++i) result[i] = (mathematics.*function)(x[i], y[i]);
}

}  // namespace

// Functions that call the host's, not their addresses, which the loader would want before the start-up can name what is
// missing.
Mathematics mathematics{
    .exp = [](double x) { return zepl::exp(x); },
    .log10 = [](double x) { return zepl::log10(x); },
    .cos = [](double x) { return zepl::cos(x); },
    .sin = [](double x) { return zepl::sin(x); },
    .atan2 = [](double y, double x) { return zepl::atan2(y, x); },
    .pow = [](double x, double y) { return zepl::pow(x, y); },
    .expArray = each<&Mathematics::exp>,
    .log10Array = each<&Mathematics::log10>,
    .cosArray = each<&Mathematics::cos>,
    .sinArray = each<&Mathematics::sin>,
    .atan2Array = eachPair<&Mathematics::atan2>,
    .powArray = eachPair<&Mathematics::pow>,
};

}  // namespace zcmds
