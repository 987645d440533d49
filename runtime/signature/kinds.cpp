#include "runtime/signature/kinds.h"

#include <algorithm>
#include <limits>

namespace libzepl {

namespace {

using zepl::ParamMask;
using Form = SignatureType::Form;
using Kinds = std::vector<ParamMask>;

// The union of what a parameter's types admit.
struct AcceptedKinds {
    ParamMask kinds = 0;          // for every argument
    ParamMask unsignedKinds = 0;  // for every argument, an untyped number being taken as unsigned
    ParamMask narrowKinds = 0;    // for every argument but an untyped number, which takes the type that is asked for
    std::vector<const SignatureType*> keywords;
};

ParamMask kindOf(ParameterClass noun, Direction direction, ElementType type) {
    const bool written = direction == Direction::out;
    if (noun == ParameterClass::pipe) return pipeKind(type);
    if (noun == ParameterClass::vector) return written ? 0 : vectorKind(type);
    return written ? variableKind(type) : variableKind(type) | constantKind(type);
}

void admitScalars(const SignatureType& type, ParameterClass noun, Direction direction, AcceptedKinds& admission) {
    for (const std::string& name : type.scalars) {
        // There is no kind for int8, so nothing can be given for it.
        if (const auto element = elementTypeNamed(name)) admission.kinds |= kindOf(noun, direction, *element);
        if (name == "uint16") admission.unsignedKinds |= kindOf(noun, direction, ElementType::int16);
        if (name == "uint32") admission.unsignedKinds |= kindOf(noun, direction, ElementType::int32);
    }
}

void admitReferred(Form form, ParameterClass noun, Direction direction, ElementType type, AcceptedKinds& admission) {
    admission.kinds |= kindOf(noun, direction, type);
    const bool tiedToStream = form == Form::elementOf || form == Form::contentOf;
    if (tiedToStream && noun == ParameterClass::value && type == ElementType::int32 && direction != Direction::out)
        admission.narrowKinds |= kindOf(noun, direction, ElementType::int16);
}

void admit(const SignatureParameter& parameter, const SignatureType& type, const ReferenceLookup& referenced,
           AcceptedKinds& admission) {
    for (const SignatureType& choice : type.choices) admit(parameter, choice, referenced, admission);
    if (type.form == Form::keyword) admission.keywords.push_back(&type);
    const ReferenceTarget referred = type.reference.empty() ? ReferenceTarget{} : referenced(type.reference);
    const ParameterClass noun = classOf(parameter, type, referred.noun);
    if (noun == ParameterClass::trigger) admission.kinds |= zepl::triggerKind;
    if (noun == ParameterClass::text && parameter.direction != Direction::out) admission.kinds |= zepl::stringKind;
    if (noun != ParameterClass::pipe && noun != ParameterClass::value && noun != ParameterClass::vector) return;
    if (type.reference.empty()) return admitScalars(type, noun, parameter.direction, admission);
    if (referred.type) admitReferred(type.form, noun, parameter.direction, *referred.type, admission);
}

// The integer kind `type` for a number that is at least `least` and at most `greatest`, where `admitted` has it.
void addInteger(Kinds& kinds, ParamMask admitted, ElementType type, const Number& number, std::int64_t least,
                std::int64_t greatest) {
    const ParamMask kind = constantKind(type);
    const bool fits = number.isInteger && number.integer >= least && number.integer <= greatest;
    if (fits && (admitted & kind) != 0 && std::find(kinds.begin(), kinds.end(), kind) == kinds.end())
        kinds.push_back(kind);
}

// A type that holds the value with its sign comes before one that holds its bits alone.
Kinds untypedNumberKinds(const Number& number, const AcceptedKinds& admission) {
    using Int16 = std::numeric_limits<std::int16_t>;
    using Int32 = std::numeric_limits<std::int32_t>;
    const ParamMask unsignedKinds = admission.unsignedKinds;
    Kinds kinds;
    addInteger(kinds, admission.kinds, ElementType::int16, number, Int16::min(), Int16::max());
    addInteger(kinds, unsignedKinds, ElementType::int16, number, 0, Int16::max());
    addInteger(kinds, admission.kinds, ElementType::int32, number, Int32::min(), Int32::max());
    addInteger(kinds, unsignedKinds, ElementType::int32, number, 0, Int32::max());
    addInteger(kinds, unsignedKinds, ElementType::int16, number, 0, std::numeric_limits<std::uint16_t>::max());
    addInteger(kinds, unsignedKinds, ElementType::int32, number, 0, std::numeric_limits<std::uint32_t>::max());
    for (ElementType real : {ElementType::float64, ElementType::float32})
        if ((admission.kinds & constantKind(real)) != 0 && holds(real, number)) kinds.push_back(constantKind(real));
    return kinds;
}

Kinds wordKinds(const std::string& word, const AcceptedKinds& admission) {
    const auto declares = [&](const SignatureType* type) {
        return std::find(type->words.begin(), type->words.end(), word) != type->words.end();
    };
    const auto isOfHost = [&](const SignatureType* type) {
        return type->words.empty() && type->set == "region" && regionValue(word);
    };
    const auto& keywords = admission.keywords;
    Kinds kinds;
    if (std::any_of(keywords.begin(), keywords.end(), declares)) kinds.push_back(zepl::declaredKeyword);
    if (std::any_of(keywords.begin(), keywords.end(), isOfHost)) kinds.push_back(zepl::hostKeyword);
    return kinds;
}

ParamMask naturalNumberKind(const ResolvedArgument& argument) {
    if (argument.typed) return constantKind(argument.type);
    AcceptedKinds anyType;
    anyType.kinds = zepl::constantInteger | zepl::constantDouble;
    return untypedNumberKinds(argument.number, anyType).front();
}

ParamMask naturalKind(const ResolvedArgument& argument) {
    switch (argument.kind) {
        case ResolvedArgument::Kind::pipe:
            return pipeKind(argument.type);
        case ResolvedArgument::Kind::trigger:
            return zepl::triggerKind;
        case ResolvedArgument::Kind::variable:
            return variableKind(argument.type);
        case ResolvedArgument::Kind::vector:
            return vectorKind(argument.type);
        case ResolvedArgument::Kind::number:
            return naturalNumberKind(argument);
        case ResolvedArgument::Kind::text:
            return zepl::stringKind;
        default:
            return regionValue(argument.text) ? zepl::hostKeyword : zepl::declaredKeyword;
    }
}

}  // namespace

ReferenceTarget referredBy(ParamMask kind) {
    for (ElementType type : allElementTypes) {
        if (kind == pipeKind(type)) return {ParameterClass::pipe, type};
        if (kind == vectorKind(type)) return {ParameterClass::vector, type};
        if (kind == variableKind(type) || kind == constantKind(type)) return {ParameterClass::value, type};
    }
    if (kind == zepl::triggerKind) return {ParameterClass::trigger, {}};
    if (kind == zepl::stringKind) return {ParameterClass::text, {}};
    return {(kind & zepl::anyKeyword) != 0 ? ParameterClass::keyword : ParameterClass::unknown, {}};
}

ParameterClass classOf(const SignatureParameter& parameter, const SignatureType& type, ParameterClass referred) {
    if (parameter.kind == SignatureKind::trigger) return ParameterClass::trigger;
    switch (type.form) {
        case Form::string:
            return ParameterClass::text;
        case Form::keyword:
            return ParameterClass::keyword;
        case Form::vectors:
            return ParameterClass::vector;
        case Form::choice:
            return ParameterClass::unknown;
        default:
            break;
    }
    if (parameter.kind == SignatureKind::pipe) return ParameterClass::pipe;
    if (type.form == Form::typeOf && parameter.kind == SignatureKind::none) return referred;
    const bool mayBeVector = type.form == Form::typeOf || type.form == Form::contentOf;
    return mayBeVector && referred == ParameterClass::vector ? ParameterClass::vector : ParameterClass::value;
}

std::vector<ParamMask> kindsFor(const SignatureParameter& parameter, const ResolvedArgument& argument,
                                const ReferenceLookup& referenced) {
    AcceptedKinds admission;
    admit(parameter, parameter.type, referenced, admission);
    if (argument.kind == ResolvedArgument::Kind::word) return wordKinds(argument.text, admission);
    if (argument.kind == ResolvedArgument::Kind::number && !argument.typed)
        return untypedNumberKinds(argument.number, admission);
    const ParamMask kind = naturalKind(argument);
    const ParamMask admitted = admission.kinds | admission.unsignedKinds | admission.narrowKinds;
    return (admitted & kind) != 0 ? Kinds{kind} : Kinds{};
}

std::vector<BoundArgument> defaultKinds(const std::vector<ResolvedArgument>& arguments) {
    std::vector<BoundArgument> kinds;
    for (const ResolvedArgument& argument : arguments) kinds.push_back({naturalKind(argument), nullptr});
    return kinds;
}

std::optional<std::int32_t> regionValue(std::string_view word) {
    if (word == "inside") return 0;
    if (word == "outside") return 1;
    return std::nullopt;
}

}  // namespace libzepl
