// Lists of arguments, written as in the calls of tests/support/call.h, and what a signature makes of them.
//
// Kinds are shown alike: `int16` is a pipe, `variable:int16`, `vector:int16`, `number:int16`, `trigger`, `text`, and `host`
// and `declared` are keywords.
#pragma once

#include "runtime/signature.h"
#include "tests/support/call.h"

namespace libzepl {

using Kind = ResolvedArgument::Kind;

inline ResolvedArgument resolved(const Procedure& declared, const Argument& argument) {
    ResolvedArgument made;
    made.text = argument.text;
    const auto find = [&](const auto& declarations, Kind kind) {
        for (const auto& one : declarations) {
            if (one.name != argument.text) continue;
            made.kind = kind;
            if constexpr (requires { one.type; }) made.type = one.type;
        }
    };
    made.kind = argument.kind == Argument::Kind::text ? Kind::text : Kind::word;
    if (argument.kind == Argument::Kind::number) {
        made.kind = Kind::number;
        made.number = argument.number;
        made.typed = argument.type.has_value();
        made.type = argument.type.value_or(ElementType::int16);
    }
    find(declared.pipes, Kind::pipe);
    find(declared.triggers, Kind::trigger);
    find(declared.variables, Kind::variable);
    find(declared.vectors, Kind::vector);
    return made;
}

inline std::vector<ResolvedArgument> argumentsOf(const std::string& list) {
    const Procedure call = parseCall("CALL (" + list + ")");
    std::vector<ResolvedArgument> arguments;
    for (const Argument& argument : call.commands.at(0).arguments) arguments.push_back(resolved(call, argument));
    return arguments;
}

inline std::string shown(zepl::ParamMask kind) {
    for (const ElementType type : allElementTypes) {
        const std::string name(nameOf(type));
        if (kind == pipeKind(type)) return name;
        if (kind == variableKind(type)) return "variable:" + name;
        if (kind == vectorKind(type)) return "vector:" + name;
        if (kind == constantKind(type)) return "number:" + name;
    }
    if (kind == zepl::triggerKind) return "trigger";
    if (kind == zepl::stringKind) return "text";
    if (kind == zepl::hostKeyword) return "host";
    return kind == zepl::declaredKeyword ? "declared" : "no single kind";
}

inline std::string shown(const std::vector<BoundArgument>& kinds) {
    std::string text;
    for (const BoundArgument& bound : kinds) text += (text.empty() ? "" : " ") + shown(bound.kind);
    return text;
}

// The kinds, or "none".
inline std::string matched(std::string_view signature, const std::string& list) {
    const auto bound = matchSignature(parseSignature(signature), argumentsOf(list));
    return bound ? shown(*bound) : "none";
}

inline std::string explained(std::string_view signature, const std::string& list) {
    return explainMismatch(parseSignature(signature), argumentsOf(list), argumentsIn(list));
}

}  // namespace libzepl
