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

// What a straight ramp of `n` values has still to go at its `k`-th, as a fraction.
inline double linearRest(double k, double n) { return 1 - k / n; }

// A decay whose second term takes away what the first leaves: `divisor` over `span` of it.
inline double exponentialRest(double x, double span, double divisor) {
    return mathematics.exp(x) + x * mathematics.exp(x / span) / divisor;
}

// A hyperbolic tangent from near 1 to near -1, centred on the ramp.
inline double fallingTangent(double k, double n) {
    const double e = mathematics.exp(15.200744836496987 * (k - n / 2) / n);
    return (1 - e) / (1 + e);
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
