#include "runtime/parameters.h"

#include <algorithm>

#include "runtime/signature/kinds.h"

namespace libzepl {

namespace {

using Form = SignatureNode::Form;
using Kind = ResolvedArgument::Kind;

// What a parameter that others refer to is, by the argument that it took.
ReferenceTarget targetOf(const ResolvedArgument& argument) {
    switch (argument.kind) {
        case Kind::pipe:
            return {ParameterClass::pipe, argument.type};
        case Kind::trigger:
            return {ParameterClass::trigger, {}};
        case Kind::vector:
            return {ParameterClass::vector, argument.type};
        case Kind::variable:
            return {ParameterClass::value, argument.type};
        case Kind::number:
            return {ParameterClass::value, {}};
        case Kind::text:
            return {ParameterClass::text, {}};
        default:
            return {ParameterClass::keyword, {}};
    }
}

}  // namespace

NextParameters::NextParameters(const Signature& signature, const std::vector<ResolvedArgument>& before)
    : before_(before) {
    Counts none(before.size() + 1);
    none[0] = true;
    after(signature.root, none);
}

NextParameters::Counts NextParameters::after(const SignatureNode& node, const Counts& from) {
    if (node.form == Form::parameter) return afterParameter(node.parameter, from);
    Counts to = from;
    const auto join = [](Counts& all, const Counts& more) {
        const Counts was = all;
        std::transform(all.begin(), all.end(), more.begin(), all.begin(), [](bool a, bool b) { return a || b; });
        return all != was;
    };
    if (node.form == Form::alternatives) {
        std::fill(to.begin(), to.end(), false);
        for (const SignatureNode& child : node.children) join(to, after(child, from));
        return to;
    }
    const auto through = [&](Counts counts) {
        for (const SignatureNode& child : node.children) counts = after(child, counts);
        return counts;
    };
    if (node.form == Form::sequence) return through(from);
    if (node.form != Form::oneOrMore) {
        while (join(to, through(to)) && node.form == Form::zeroOrMore) {
        }
        return to;
    }
    to = through(from);
    while (join(to, through(to))) {
    }
    return to;
}

NextParameters::Counts NextParameters::afterParameter(const SignatureParameter& parameter, const Counts& from) {
    Counts to(from.size());
    for (std::size_t i = 0; i < before_.size(); ++i)
        if (from[i] && fits(parameter, before_[i])) {
            to[i + 1] = true;
            taken_.try_emplace(parameter.name, i);
        }
    const bool isNew = std::find(next_.begin(), next_.end(), &parameter) == next_.end();
    if (from.back() && isNew) next_.push_back(&parameter);
    return to;
}

bool NextParameters::fits(const SignatureParameter& parameter, const ResolvedArgument& argument) const {
    const auto referenced = [&](const std::string& name) {
        const auto taken = taken_.find(name);
        return taken == taken_.end() ? ReferenceTarget{} : targetOf(before_[taken->second]);
    };
    return !kindsFor(parameter, argument, referenced).empty();
}

bool NextParameters::admit(const ResolvedArgument& argument) const {
    return std::any_of(next_.begin(), next_.end(),
                       [&](const SignatureParameter* parameter) { return fits(*parameter, argument); });
}

}  // namespace libzepl
