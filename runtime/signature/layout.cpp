#include <map>
#include <utility>

#include "runtime/signature.h"
#include "runtime/signature/kinds.h"
#include "runtime/wording.h"

namespace libzepl {

namespace {

using NodeForm = SignatureNode::Form;
using TypeForm = SignatureType::Form;

std::string article(ParameterClass noun, Direction direction) {
    switch (noun) {
        case ParameterClass::pipe:
            return "a pipe";
        case ParameterClass::value:
            return direction == Direction::out ? "a variable" : "a value";
        case ParameterClass::vector:
            return "a vector";
        case ParameterClass::text:
            return "a text";
        case ParameterClass::keyword:
            return "a word";
        case ParameterClass::trigger:
            return "a trigger";
        default:
            return "a parameter";
    }
}

std::string describeKeyword(const SignatureType& type) {
    const bool isRegion = type.words.empty() && type.set == "region";
    if (isRegion) return "the word inside or outside";
    if (type.words.empty()) return "a word of the host's set " + quoted(type.set);
    return (type.words.size() > 1 ? "one of the words " : "the word ") + joined(type.words);
}

std::string describeReferring(const SignatureType& type, const std::string& noun, const ReferenceTarget& referred) {
    std::string text = noun + " of the same type as " + quoted(type.reference);
    if (referred.type) text += " (" + std::string(nameOf(*referred.type)) + ")";
    return text;
}

std::string describeType(const SignatureParameter& parameter, const SignatureType& type,
                         const ReferenceLookup& referenced) {
    if (type.form == TypeForm::keyword) return describeKeyword(type);
    if (type.form == TypeForm::choice) {
        std::vector<std::string> parts;
        for (const SignatureType& choice : type.choices) parts.push_back(describeType(parameter, choice, referenced));
        return joined(parts);
    }
    const ReferenceTarget referred = type.reference.empty() ? ReferenceTarget{} : referenced(type.reference);
    const ParameterClass noun = classOf(parameter, type, referred.noun);
    std::string text = article(noun, parameter.direction);
    if (!type.reference.empty()) {
        if (noun != ParameterClass::text && noun != ParameterClass::trigger && noun != ParameterClass::keyword)
            text = describeReferring(type, text, referred);
    } else if (!type.scalars.empty()) {
        text += " of " + joined(type.scalars);
    }
    return type.indexIsValue ? text + ", its length the value of " + quoted(type.index) : text;
}

std::string_view wordFor(Direction direction) {
    return direction == Direction::in ? "in" : direction == Direction::out ? "out" : "const";
}

std::string_view headingOf(NodeForm form) {
    return form == NodeForm::optional    ? "optional"
           : form == NodeForm::oneOrMore ? "one or more times"
                                         : "any number of times, or not at all";
}

// Writes a signature, keeping in mind what each parameter on the way is.
class Layout {
 public:
    void add(const SignatureNode& node, std::size_t indent);
    const std::string& text() const { return text_; }

 private:
    void addParameter(const SignatureParameter& parameter, std::size_t indent);
    void addAlternatives(const SignatureNode& node, std::size_t indent);
    void addLine(std::string_view line, std::size_t indent);

    std::string text_;
    std::map<std::string, ParameterClass> nouns_;
};

void Layout::add(const SignatureNode& node, std::size_t indent) {
    if (node.form == NodeForm::parameter) return addParameter(node.parameter, indent);
    if (node.form == NodeForm::alternatives) return addAlternatives(node, indent);
    if (node.form != NodeForm::sequence) {
        addLine(headingOf(node.form), indent);
        indent += 4;
    }
    for (const SignatureNode& child : node.children) add(child, indent);
}

void Layout::addParameter(const SignatureParameter& parameter, std::size_t indent) {
    const auto referenced = [this](const std::string& name) { return ReferenceTarget{nouns_[name], {}}; };
    addLine(std::string(wordFor(parameter.direction)) + " " + parameter.name + ": " + describe(parameter, referenced),
            indent);
    const std::string& reference = parameter.type.reference;
    nouns_[parameter.name] =
        classOf(parameter, parameter.type, reference.empty() ? ParameterClass::unknown : nouns_[reference]);
}

void Layout::addAlternatives(const SignatureNode& node, std::size_t indent) {
    const std::map<std::string, ParameterClass> before = nouns_;
    std::map<std::string, ParameterClass> after;
    for (const SignatureNode& child : node.children) {
        nouns_ = before;
        addLine(&child == &node.children.front() ? "either" : "or", indent);
        add(child, indent + 4);
        after.merge(nouns_);
    }
    nouns_ = std::move(after);
}

void Layout::addLine(std::string_view line, std::size_t indent) { text_.append(indent, ' ').append(line) += '\n'; }

}  // namespace

std::string describe(const SignatureParameter& parameter, const ReferenceLookup& referenced) {
    return describeType(parameter, parameter.type, referenced);
}

std::string layOut(const Signature& signature) {
    Layout layout;
    layout.add(signature.root, 0);
    return layout.text();
}

}  // namespace libzepl
