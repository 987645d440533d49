// DECIBEL gives the level of each sample in decibels against a reference, times a scale. The integer types need no floating
// point: their levels come from tables.

#include <limits>
#include <type_traits>
#include <utility>

#include "arith/level_tables.h"
#include "arith/value_pair.h"
#include "frame/approximation.h"
#include "frame/element_loop.h"
#include "frame/element_type.h"
#include "frame/exact.h"
#include "frame/mathematics.h"
#include "frame/vector_clones.h"
#include "host/parameters.h"
#include "module/commands.h"

namespace zcmds {

const char* const decibelSignature =
    "( in     pipe     (int16|int32|float|double)  src  ,   const  storage  contentof(src)  reflev ,   "
    "const  storage  contentof(src)  scale ,   out    typeof(src)   dest    )";

namespace {

// Magnitude and reference in the order in which their ratio is 1 or more, and the sign of its level. A negative reference
// stays where it is; then the ratio is negative and counts as 1.
struct Ratio {
    Ratio(std::int32_t magnitude, std::int32_t reference) : larger(magnitude), smaller(reference) {
        if (smaller <= larger) return;
        std::swap(larger, smaller);
        sign = -1;
    }

    std::int32_t larger;
    std::int32_t smaller;
    std::int32_t sign = 1;
};

std::int16_t level(std::int16_t x, std::int16_t reference, std::int16_t scale) {
    if (x == 0) return saturate<std::int16_t>(scale * -99);
    const Ratio ratio(saturatingAbsolute(x), reference);
    const std::int32_t decibels = valueAt<shortLevels>(divideOrFault(ratio.larger << 15, ratio.smaller));
    const std::int32_t scaled = wrappingProduct(wrappingProduct(scale, decibels), ratio.sign);
    return static_cast<std::int16_t>(scaled / 100000);
}

// Decibels times 100000. The points are far apart at the low end; the bend follows the curve of the logarithm between them.
// The dividends stay below 2^49.
std::int64_t bentLevel(std::int64_t ratio) {
    const auto& [ratios, levels] = longLevels;
    if (ratio <= ratios.front()) return levels.front();
    if (ratio >= ratios.back()) return levels.back();
    const std::size_t at = pointBelow<longLevels>(ratio);
    const std::int64_t rise = levels[at + 1] - levels[at], along = ratio - ratios[at];
    const std::int32_t run = ratios[at + 1] - ratios[at];
    const std::int64_t bend =
        divideThroughDouble(divideThroughDouble(along * 17480, run) * (ratios[at + 1] - ratio), run);
    return divideThroughDouble(rise * along, run) + bend + levels[at];
}

// In thousandths. The ratio is taken in units of 1 / 32768, whose level is taken off again, where it fits 32 bits so.
std::int32_t thousandths(Ratio ratio) {
    const std::int64_t fine = divideOrFault(std::int64_t{ratio.larger} << 15, std::int64_t{ratio.smaller});
    const bool fits = fine <= 0x7fffffff;
    const std::int64_t decibels = bentLevel(fits ? fine : fine / 32768) - (fits ? 9030900 : 0);
    return static_cast<std::int32_t>(decibels / 100);
}

std::int32_t level(std::int32_t x, std::int32_t reference, std::int32_t scale) {
    if (x == 0) return saturate<std::int32_t>(std::int64_t{scale} * -999);
    const Ratio ratio(saturatingAbsolute(x), reference);
    return wrappingProduct(wrappingProduct(thousandths(ratio), scale), ratio.sign) / 1000;
}

// Each step is rounded to the type. Silence has the level of the smallest normal float, in double as well.
template <class Real>
ZCMDS_VECTOR_CLONES void ratiosOf(const Real* x, double* ratios, std::int32_t n, Real reference) {
    constexpr Real floor = std::numeric_limits<float>::min();
    for (std::int32_t i = 0; i < n; ++i) {
        const Real magnitude = x[i] < 0 ? -x[i] : x[i];
        const Real ratio = (magnitude < floor ? floor : magnitude) / reference;
        ratios[i] = ratio;
    }
}

template <class Real>
Real levelOf(double logarithm, Real scale) {
    const auto decibels = static_cast<Real>(20.0 * logarithm);
    return decibels * scale;
}

template <class Real>
ZCMDS_VECTOR_CLONES void storeLevels(const double* logarithms, Real* levels, std::int32_t n, Real scale) {
    for (std::int32_t i = 0; i < n; ++i) levels[i] = levelOf(logarithms[i], scale);
}

template <class Real>
void replaceByLevels(Real* elements, std::int32_t n, Real reference, Real scale) {
    inPieces(n, [=](std::int32_t start, std::int32_t count) {
        double values[mathematicsPiece];
        ratiosOf(elements + start, values, count, reference);
        if constexpr (std::is_same_v<Real, float>)
            if (storeApproximations(
                    elements + start, count, [&values](std::int32_t i) { return logarithmAround(values[i]); },
                    [scale](double logarithm, std::int32_t) { return levelOf(logarithm, scale); }))
                return;
        mathematics.log10Array(values, values, count);
        storeLevels(values, elements + start, count, scale);
    });
}

template <class Integer>
requires std::is_integral_v<Integer>
void replaceByLevels(Integer* elements, std::int32_t n, Integer reference, Integer scale) {
    transformBlock(elements, n, [=](Integer x) { return level(x, reference, scale); });
}

}  // namespace

std::uint32_t decibel(ParamList list) {
    StreamReader reader;
    StreamWriter writer;
    const ParamPair pair{.source = 1, .destination = 4};
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 4, 4, anyPipe, anyScalar, anyScalar, anyPipe);
    if (!openPairWithValues(list, params, pair, 2, reader, writer)) return 4;
    const Slot reference = params[2], scale = params[3];
    return forElementType(zepl::param_type(list, 1), [&]<class Element>() -> std::uint32_t {
        // Both can change while the command runs. No other task runs inside a block, so that once for each is enough.
        processBlocks<Element>(reader, writer, [reference, scale](Element* elements, std::int32_t n) {
            replaceByLevels(elements, n, *valueIn<Element>(reference), *valueIn<Element>(scale));
            return n;
        });
    });
}

}  // namespace zcmds
