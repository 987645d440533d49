// Lists of arguments and of kinds in a short notation, for the tests of signatures.
//
// An argument is a pipe, variable or vector `p16`, `v32`, `af`, a trigger `t`, a number `5`, `-1.5` or `5:16`, a text
// `"abc"`, or any other word, which stands for itself. A kind is written alike, with `cd` for a constant of double, `s`
// for a text, `host` and `declared` for keywords.
#pragma once

#include <array>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/signature.h"

namespace libzepl {

using Kind = ResolvedArgument::Kind;

inline constexpr std::array<std::string_view, 4> typeLetters{"16", "32", "f", "d"};

inline std::optional<ElementType> typeOfLetters(std::string_view letters) {
    for (ElementType type : allElementTypes)
        if (letters == typeLetters[static_cast<std::size_t>(type)]) return type;
    return std::nullopt;
}

inline ResolvedArgument numberArgument(std::string_view name) {
    const std::size_t colon = name.find(':');
    ResolvedArgument argument;
    argument.number = parseNumber(name.substr(0, colon)).value();
    argument.typed = colon != std::string_view::npos;
    if (argument.typed) argument.type = typeOfLetters(name.substr(colon + 1)).value();
    return argument;
}

inline ResolvedArgument argumentOf(std::string_view name) {
    if (parseNumber(name.substr(0, name.find(':')))) return numberArgument(name);
    ResolvedArgument argument;
    const auto type = typeOfLetters(name.substr(1));
    const std::size_t letter = type ? std::string_view("pva").find(name.front()) : std::string_view::npos;
    if (letter != std::string_view::npos) {
        constexpr std::array kinds{Kind::pipe, Kind::variable, Kind::vector};
        argument.kind = kinds[letter];
        argument.type = *type;
        return argument;
    }
    const bool isText = name.front() == '"';
    argument.kind = name == "t" ? Kind::trigger : isText ? Kind::text : Kind::word;
    argument.text = isText ? name.substr(1, name.size() - 2) : name;
    return argument;
}

inline std::string shown(zepl::ParamMask kind) {
    for (ElementType type : allElementTypes) {
        const std::string letters(typeLetters[static_cast<std::size_t>(type)]);
        if (kind == pipeKind(type)) return "p" + letters;
        if (kind == variableKind(type)) return "v" + letters;
        if (kind == vectorKind(type)) return "a" + letters;
        if (kind == constantKind(type)) return "c" + letters;
    }
    if (kind == zepl::triggerKind) return "t";
    if (kind == zepl::stringKind) return "s";
    if (kind == zepl::hostKeyword) return "host";
    return kind == zepl::declaredKeyword ? "declared" : "no single kind";
}

inline std::vector<std::string> namesOf(std::string_view list) {
    std::istringstream stream{std::string(list)};
    std::vector<std::string> names;
    for (std::string name; stream >> name;) names.push_back(name);
    return names;
}

inline std::vector<ResolvedArgument> argumentsOf(std::string_view list) {
    std::vector<ResolvedArgument> arguments;
    for (const std::string& name : namesOf(list)) arguments.push_back(argumentOf(name));
    return arguments;
}

inline std::string shown(const std::vector<BoundArgument>& kinds) {
    std::string text;
    for (const BoundArgument& bound : kinds) text += (text.empty() ? "" : " ") + shown(bound.kind);
    return text;
}

// The kinds, or "none".
inline std::string matched(std::string_view signature, std::string_view list) {
    const auto bound = matchSignature(parseSignature(signature), argumentsOf(list));
    return bound ? shown(*bound) : "none";
}

inline std::string explained(std::string_view signature, std::string_view list) {
    return explainMismatch(parseSignature(signature), argumentsOf(list), namesOf(list));
}

}  // namespace libzepl
