// What ramps share: the shapes' words, what each shape is made of, and the step that a ramp goes.
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

// Fills in what a straight ramp of `n` values has still to go at each, as a fraction.
inline void fillLinear(double* rests, std::int32_t n) {
    for (std::int32_t i = 0; i < n; ++i) rests[i] = 1 - (i + 1.0) / n;
}

// Of a decay over `length` values, of which there are `n`, whose second term takes away what the first leaves: `divisor` over
// `span` of it.
inline void fillExponential(double* rests, std::int32_t n, double length, double span, double divisor) {
    inPieces(n, [=](std::int32_t start, std::int32_t count) {
        double x[mathematicsPiece] = {}, second[mathematicsPiece] = {};
        double* const rest = rests + start;
        for (std::int32_t i = 0; i < count; ++i) {
            x[i] = -2.65 * (start + i + 1.0) / length;
            second[i] = x[i] / span;
        }
        mathematics.expArray(x, rest, count);
        mathematics.expArray(second, second, count);
        for (std::int32_t i = 0; i < count; ++i) rest[i] = rest[i] + x[i] * second[i] / divisor;
    });
}

// Of a hyperbolic tangent from near 1 to near -1, centred on the ramp, of whose value at each `rest` makes the fraction.
template <class Rest>
void fillHyperbolic(double* rests, std::int32_t n, Rest rest) {
    const double length = n;
    for (std::int32_t i = 0; i < n; ++i) rests[i] = 15.200744836496987 * (i + 1.0 - length / 2) / length;
    mathematics.expArray(rests, rests, n);
    for (std::int32_t i = 0; i < n; ++i) rests[i] = rest((1 - rests[i]) / (1 + rests[i]));
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
