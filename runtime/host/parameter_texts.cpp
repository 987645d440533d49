#include "runtime/host/parameter_texts.h"
#include "runtime/wording.h"

#include <vector>

#include "runtime/element_type.h"

namespace libzepl {

namespace {

// "a pipe of int16 or int32" when the mask has kinds of the family, else nothing.
std::string family(zepl::ParamMask mask, const std::string& what, zepl::ParamMask (*kindOf)(ElementType)) {
    std::vector<std::string> types;
    for (ElementType type : allElementTypes)
        if ((mask & kindOf(type)) != 0) types.emplace_back(nameOf(type));
    return types.empty() ? "" : what + " " + joined(types);
}

}  // namespace

std::string describeMask(zepl::ParamMask mask) {
    std::vector<std::string> kinds;
    const auto add = [&](std::string text) {
        if (!text.empty()) kinds.push_back(std::move(text));
    };
    add(family(mask, "a pipe of", pipeKind));
    add(family(mask, "a variable of", variableKind));
    add(family(mask, "a number of", constantKind));
    add(family(mask, "a vector of", vectorKind));
    if ((mask & zepl::triggerKind) != 0) add("a trigger");
    if ((mask & zepl::stringKind) != 0) add("a text");
    if ((mask & zepl::anyKeyword) != 0) add("a word");
    return kinds.empty() ? "nothing" : joined(kinds);
}

std::string describeKind(zepl::ParamMask kind) { return describeMask(kind); }

std::string errorText(zepl::ParamError code) {
    switch (code) {
        case zepl::ParamError::vectorLengthMismatch:
            return "the vector's length is not the count that another parameter requires";
        case zepl::ParamError::unusableLength:
            return "the vectors are not equally long, or the block length cannot be factored";
        case zepl::ParamError::typeMismatch:
            return "its element type differs from that of the parameter it goes with";
        case zepl::ParamError::inconsistentValues:
            return "the values contradict each other";
        case zepl::ParamError::outOfRange:
            return "the value is out of range";
        case zepl::ParamError::notPositive:
            return "the value is too small";
        case zepl::ParamError::unknownWord:
            return "the word is not one that the command knows";
        case zepl::ParamError::missing:
            return "a parameter is missing here";
        case zepl::ParamError::tooMany:
            return "this parameter and those after it are too many";
        case zepl::ParamError::wrongKind:
            return "a parameter of this kind cannot be here";
    }
    return "error " + std::to_string(static_cast<std::uint32_t>(code));
}

}  // namespace libzepl
