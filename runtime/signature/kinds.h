// What one parameter of a signature admits, for people and as parameter kinds.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "runtime/signature.h"

namespace libzepl {

enum class ParameterClass { unknown, pipe, value, vector, text, keyword, trigger };

// What a parameter that typeof, elementof or contentof names turned out to be, as far as it is known.
struct ReferenceTarget {
    ParameterClass noun = ParameterClass::unknown;
    std::optional<ElementType> type;
};
using ReferenceLookup = std::function<ReferenceTarget(const std::string& name)>;

// What a parameter passed as `kind` is.
ReferenceTarget referredBy(zepl::ParamMask kind);

// What a parameter of `type`, which is its own or one of its choices, is when `type.reference` is a `referred`.
ParameterClass classOf(const SignatureParameter& parameter, const SignatureType& type, ParameterClass referred);

// "a pipe of int16 or int32", "a value of the same type as `src` (int16)".
std::string describe(const SignatureParameter& parameter, const ReferenceLookup& referenced);

// The kinds that the argument can take as that parameter, the preferred first. A reference to an unknown parameter
// admits nothing.
std::vector<zepl::ParamMask> kindsFor(const SignatureParameter& parameter, const ResolvedArgument& argument,
                                      const ReferenceLookup& referenced);

}  // namespace libzepl
