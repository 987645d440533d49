#include "runtime/binder/arguments.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "runtime/signature.h"

namespace libzepl {

namespace {

// Among tens of thousands of names only the first unknown ones get a suggestion: all would take seconds.
constexpr std::size_t maxCompared = 2000000;

ElementType elementTypeOf(zepl::ParamMask kind) {
    for (ElementType type : allElementTypes)
        if (kind == pipeKind(type) || kind == vectorKind(type) || kind == variableKind(type) ||
            kind == constantKind(type))
            return type;
    return ElementType::int16;
}

// An argument whose name was looked up: as the signature's matcher takes it and, for a channel, variable or vector, as
// the session takes it.
struct LookedUp {
    ResolvedArgument resolved;
    std::optional<TaskArgument> object;
};

LookedUp objectOf(ResolvedArgument::Kind kind, TaskArgument object) {
    LookedUp result;
    result.resolved.kind = kind;
    result.resolved.type = elementTypeOf(object.kind);
    result.object = std::move(object);
    return result;
}

std::vector<std::string> everyName(const DeclaredNames& names) {
    std::vector<std::string> all;
    const auto add = [&](const auto& map) {
        for (const auto& entry : map) all.push_back(entry.first);
    };
    add(names.pipes);
    add(names.triggers);
    add(names.variables);
    add(names.vectors);
    all.insert(all.end(), names.constants.begin(), names.constants.end());
    return all;
}

// What the name stands for: a declared name hides a bare word. Nothing when it is neither.
std::optional<LookedUp> lookUpName(const std::string& name, const DeclaredNames& names, const Session& session,
                                   const std::vector<std::string>& words) {
    using Kind = ResolvedArgument::Kind;
    if (const auto found = names.pipes.find(name); found != names.pipes.end())
        return objectOf(Kind::pipe, session.use(found->second));
    if (const auto found = names.triggers.find(name); found != names.triggers.end())
        return objectOf(Kind::trigger, session.use(found->second));
    if (const auto found = names.variables.find(name); found != names.variables.end())
        return objectOf(Kind::variable, session.use(found->second));
    if (const auto found = names.vectors.find(name); found != names.vectors.end())
        return objectOf(Kind::vector, session.use(found->second));
    if (std::find(words.begin(), words.end(), name) == words.end()) return std::nullopt;
    LookedUp result;
    result.resolved.kind = Kind::word;
    result.resolved.text = name;
    return result;
}

LookedUp literalOf(const Argument& argument) {
    LookedUp result;
    if (argument.kind == Argument::Kind::text) {
        result.resolved.kind = ResolvedArgument::Kind::text;
        result.resolved.text = argument.text;
    } else {
        result.resolved.kind = ResolvedArgument::Kind::number;
        result.resolved.number = argument.number;
        result.resolved.typed = argument.type.has_value();
        result.resolved.type = argument.type.value_or(ElementType::int16);
    }
    return result;
}

TaskArgument numberArgument(zepl::ParamMask kind, const Number& number) {
    // An unsigned value that a signature admits is passed as the signed one of the same bits.
    if (kind == zepl::constantInt16) return int16Constant(static_cast<std::int16_t>(number.integer));
    if (kind == zepl::constantInt32) return int32Constant(static_cast<std::int32_t>(number.integer));
    if (kind == zepl::constantFloat) return floatConstant(static_cast<float>(number.real));
    return doubleConstant(number.real);
}

TaskArgument taskArgument(const LookedUp& argument, zepl::ParamMask kind) {
    if (argument.object) return *argument.object;
    const ResolvedArgument& resolved = argument.resolved;
    switch (resolved.kind) {
        case ResolvedArgument::Kind::text:
            return textConstant(resolved.text);
        case ResolvedArgument::Kind::word:
            if (kind == zepl::hostKeyword) return hostWord(regionValue(resolved.text).value_or(0));
            return declaredWord(resolved.text);
        default:
            return numberArgument(kind, resolved.number);
    }
}

std::vector<BoundArgument> kindsOf(const Signature* signature, const std::vector<ResolvedArgument>& arguments,
                                   const std::vector<std::string>& writtenAs, std::string& advice) {
    if (signature == nullptr) return defaultKinds(arguments);
    if (std::optional<std::vector<BoundArgument>> kinds = matchSignature(*signature, arguments)) return *kinds;
    advice = explainMismatch(*signature, arguments, writtenAs);
    if (advice.ends_with('\n')) advice.pop_back();  // whoever reports it ends the line
    return defaultKinds(arguments);
}

}  // namespace

void ArgumentBinder::refuseUnknown(const Argument& argument) {
    // A constant that is still a name has no value, which was reported.
    if (names_.refused.contains(argument.text) || names_.constants.contains(argument.text)) return;
    if (!known_) {
        std::vector<std::string> candidates = everyName(names_);
        const std::vector<std::string>& words = library_.words();
        candidates.insert(candidates.end(), words.begin(), words.end());
        known_.emplace(candidates);
        knownCount_ = candidates.size();
    }
    compared_ += knownCount_;
    const std::string near = compared_ <= maxCompared ? known_->suggestion(argument.text) : std::string();
    diagnostics_.push_back({Severity::error, argument.place, "unknown name " + libzepl::quoted(argument.text),
                            near.empty() ? "declare it as a pipe, trigger, variable or vector" : near});
}

std::optional<BoundArguments> ArgumentBinder::bind(const Command& command, const CommandUse& use) {
    std::vector<LookedUp> lookedUp;
    std::vector<ResolvedArgument> resolved;
    std::vector<std::string> writtenAs;
    for (const Argument& argument : use.arguments) {
        std::optional<LookedUp> found = argument.kind == Argument::Kind::word
                                            ? lookUpName(argument.text, names_, session_, library_.words())
                                            : literalOf(argument);
        if (!found) {
            refuseUnknown(argument);
            continue;
        }
        resolved.push_back(found->resolved);
        lookedUp.push_back(std::move(*found));
        writtenAs.push_back(argument.written);
    }
    if (lookedUp.size() != use.arguments.size()) return std::nullopt;
    BoundArguments bound;
    const std::vector<BoundArgument> kinds = kindsOf(command.parsed.get(), resolved, writtenAs, bound.advice);
    for (std::size_t i = 0; i < lookedUp.size(); ++i) {
        bound.arguments.push_back(taskArgument(lookedUp[i], kinds[i].kind));
        bound.arguments.back().name = writtenAs[i];
    }
    return bound;
}

}  // namespace libzepl
