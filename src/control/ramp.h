// What ramps share: the shapes' words, the curve of each shape, and the step from level to level.
#pragma once

#include <cstring>
#include <type_traits>

#include "frame/exact.h"
#include "frame/mathematics.h"
#include "frame/types.h"
#include "host/parameters.h"

namespace zcmds {

enum class RampShape : std::int32_t { none = 0, linear = 1, exponential = 2, hyperbolic = 3 };

// The shape that the string parameter at `index` names exactly; any other text is reported there.
inline RampShape rampShapeAt(const Slot* params, std::int32_t index) {
    const char* const text = valueIn<char>(params[index]);
    if (std::strcmp(text, "LINEAR") == 0) return RampShape::linear;
    if (std::strcmp(text, "EXPONENTIAL") == 0) return RampShape::exponential;
    if (std::strcmp(text, "HYPERBOLIC") == 0) return RampShape::hyperbolic;
    zepl::param_error_msg(ParamError::unknownWord, index);
}

// Fills in the fraction of the step that remains at each value of a straight ramp of `n`.
inline void fillLinear(double* remaining, std::int32_t n) {
    for (std::int32_t i = 0; i < n; ++i) remaining[i] = 1 - (i + 1.0) / n;
}

// The same of a decay over `length` values, of which there are `n`: exp(x) + x * exp(x / span) / divisor, whose second term
// brings the end to about 0.
inline void fillExponential(double* remaining, std::int32_t n, double length, double span, double divisor) {
    inPieces(n, [=](std::int32_t start, std::int32_t count) {
        double x[mathematicsPiece] = {}, second[mathematicsPiece] = {};
        double* const part = remaining + start;
        for (std::int32_t i = 0; i < count; ++i) {
            x[i] = -2.65 * (start + i + 1.0) / length;
            second[i] = x[i] / span;
        }
        mathematics.expArray(x, part, count);
        mathematics.expArray(second, second, count);
        for (std::int32_t i = 0; i < count; ++i) part[i] = part[i] + x[i] * second[i] / divisor;
    });
}

// The same of a hyperbolic tangent from near 1 to near -1, centred on the ramp; `fraction` of its value is what remains.
template <class Fraction>
void fillHyperbolic(double* remaining, std::int32_t n, Fraction fraction) {
    const double length = n;
    for (std::int32_t i = 0; i < n; ++i) remaining[i] = 15.200744836496987 * (i + 1.0 - length / 2) / length;
    mathematics.expArray(remaining, remaining, n);
    for (std::int32_t i = 0; i < n; ++i) remaining[i] = fraction((1 - remaining[i]) / (1 + remaining[i]));
}

// From `to` back to `from`, in the element's type: integers wrap.
template <class Element>
Element wrappingStep(Element from, Element to) {
    if constexpr (std::is_integral_v<Element>)
        return wrap<Element>(widened(from) - widened(to));
    else
        return from - to;
}

}  // namespace zcmds
