#include <algorithm>
#include <array>
#include <utility>

#include "runtime/signature.h"
#include "runtime/signature/signature_tokens.h"

namespace libzepl {

namespace {

constexpr std::size_t longestSignature = 65536;
constexpr int maxNesting = 32;  // the parsed form is walked recursively

struct TypeClass {
    std::string_view name;
    std::vector<std::string> scalars;
};

const TypeClass* typeClassNamed(std::string_view name) {
    static const std::array<TypeClass, 10> classes{{{"int8", {"int8"}},
                                                    {"int16", {"int16"}},
                                                    {"uint16", {"uint16"}},
                                                    {"int32", {"int32"}},
                                                    {"uint32", {"uint32"}},
                                                    {"float", {"float"}},
                                                    {"double", {"double"}},
                                                    {"anyscalar", {"int16", "int32", "float", "double"}},
                                                    {"anyfixed", {"int16", "int32"}},
                                                    {"anyfloat", {"float", "double"}}}};
    const auto found = std::find_if(classes.begin(), classes.end(), [&](const auto& c) { return c.name == name; });
    return found == classes.end() ? nullptr : &*found;
}

using TypeForm = SignatureType::Form;

// Where a signature is only checked, nothing is kept but the forms that the grammar asks for: that takes a tenth of the time.
struct Ignored {
    Ignored& operator=(const auto&) { return *this; }
    void reserve(std::size_t) {}
    void push_back(const auto&) {}
    void emplace_back(const auto&) {}
};

struct CheckedType {
    TypeForm form = TypeForm::none;
    bool indexIsValue = false;
    Ignored scalars, reference, index, set, words, choices;
};

struct CheckedNode {
    using Form = SignatureNode::Form;
    struct Parameter {
        Direction direction = Direction::in;
        SignatureKind kind = SignatureKind::none;
        CheckedType type;
        Ignored name;
    };
    Form form = Form::sequence;
    Parameter parameter;
    Ignored children;
};

void joinScalars(CheckedType& type) { type.form = TypeForm::scalars; }

void joinScalars(SignatureType& type) {
    SignatureType joined;
    joined.form = TypeForm::scalars;
    for (const SignatureType& choice : type.choices)
        joined.scalars.insert(joined.scalars.end(), choice.scalars.begin(), choice.scalars.end());
    type = std::move(joined);
}

template <class Node>
class Parser {
 public:
    explicit Parser(std::string_view text) : tokens_(signatureTokens(text)) {}
    Node signature();
    // All that stand in braces.
    const std::vector<std::string_view>& words() const { return words_; }

 private:
    using Type = decltype(Node{}.parameter.type);

    const SignatureToken& token() const { return tokens_[at_]; }
    bool at(std::string_view text) const { return token().text == text; }
    bool accept(std::string_view text);
    void expect(std::string_view text);
    std::string_view word(std::string_view what);
    [[noreturn]] void failExpecting(const std::string& what) const;
    void enter();
    void leave(std::string_view bracket);

    Node alternatives();
    Node sequence();
    Node item();
    Node parameter();
    SignatureKind kind();
    Type parameterType(SignatureKind kind);
    Type type();
    Type typeChoice();
    Type plainType();
    Type keyword();
    void makeVector(Type& type);
    std::string_view reference();

    std::vector<SignatureToken> tokens_;
    std::size_t at_ = 0;
    int depth_ = 0;
    bool carriesNumbers_ = true;           // the parameter that is read
    std::vector<std::string_view> known_;  // the parameters that can come before this place
    std::vector<std::string_view> words_;
};

template <class Node>
bool Parser<Node>::accept(std::string_view text) {
    if (!at(text)) return false;
    ++at_;
    return true;
}

template <class Node>
void Parser<Node>::expect(std::string_view text) {
    if (!accept(text)) failExpecting(quoted(text));
}

template <class Node>
std::string_view Parser<Node>::word(std::string_view what) {
    if (!token().isWord()) failExpecting(std::string(what));
    return tokens_[at_++].text;
}

template <class Node>
void Parser<Node>::failExpecting(const std::string& what) const {
    const std::string found = token().text.empty() ? "the end" : quoted(token().text);
    throw SignatureError("expected " + what + ", found " + found, token().offset);
}

template <class Node>
void Parser<Node>::enter() {
    if (++depth_ > maxNesting)
        throw SignatureError("brackets are nested more than " + std::to_string(maxNesting) + " deep",
                             tokens_[at_ - 1].offset);
}

template <class Node>
void Parser<Node>::leave(std::string_view bracket) {
    expect(bracket);
    --depth_;
}

template <class Node>
Node Parser<Node>::signature() {
    Node result;
    expect("(");
    if (!accept(")")) {
        enter();
        result = alternatives();
        leave(")");
    }
    if (!at({})) failExpecting("the end");
    return result;
}

template <class Node>
Node Parser<Node>::alternatives() {
    const std::size_t before = known_.size();
    Node first = sequence();
    if (!at("|")) return first;
    std::vector<std::string_view> others;  // that the alternatives so far can give
    Node node;
    node.form = Node::Form::alternatives;
    node.children.push_back(std::move(first));
    while (accept("|")) {
        others.insert(others.end(), known_.begin() + static_cast<std::ptrdiff_t>(before), known_.end());
        known_.resize(before);
        node.children.push_back(sequence());
    }
    known_.insert(known_.end(), others.begin(), others.end());
    return node;
}

template <class Node>
Node Parser<Node>::sequence() {
    Node node;
    bool separated = accept(","), isEmpty = true, afterParameter = false;
    while (!at(")") && !at("]") && !at("|") && !at({})) {
        const bool besideGroup = at("(") || at("[") || !afterParameter;
        if (!separated && !besideGroup) failExpecting(quoted(","));
        Node next = item();
        afterParameter = next.form == Node::Form::parameter;
        isEmpty = false;
        node.children.push_back(std::move(next));
        separated = accept(",");
    }
    if (isEmpty) failExpecting("a parameter");
    return node;
}

template <class Node>
Node Parser<Node>::item() {
    if (accept("(")) {
        enter();
        Node node = alternatives();
        leave(")");
        return node;
    }
    if (!accept("[")) return parameter();
    enter();
    Node group;
    group.form = Node::Form::optional;
    group.children.push_back(alternatives());
    leave("]");
    if (accept("+")) group.form = Node::Form::oneOrMore;
    if (group.form == Node::Form::optional && accept("*")) group.form = Node::Form::zeroOrMore;
    return group;
}

template <class Node>
Node Parser<Node>::parameter() {
    if (!token().isWord()) failExpecting("a parameter");
    Node node;
    node.form = Node::Form::parameter;
    auto& parameter = node.parameter;
    if (accept("out")) {
        parameter.direction = Direction::out;
    } else if (accept("const")) {
        parameter.direction = Direction::constant;
    } else {
        accept("in");
    }
    parameter.kind = kind();
    if (parameter.kind != SignatureKind::trigger) parameter.type = parameterType(parameter.kind);
    known_.push_back(token().text);
    parameter.name = word("the parameter's name");
    return node;
}

template <class Node>
SignatureKind Parser<Node>::kind() {
    if (accept("pipe")) return SignatureKind::pipe;
    if (accept("storage")) return SignatureKind::storage;
    return accept("trigger") ? SignatureKind::trigger : SignatureKind::none;
}

template <class Node>
auto Parser<Node>::parameterType(SignatureKind kind) -> Type {
    const int offset = token().offset;
    carriesNumbers_ = true;
    Type result = type();
    if (kind == SignatureKind::pipe && !carriesNumbers_)
        throw SignatureError("a pipe carries scalars, not texts, words or vectors", offset);
    return result;
}

template <class Node>
auto Parser<Node>::type() -> Type {
    Type result = at("(") ? typeChoice() : plainType();
    // The next token exists: the last one is the end.
    if (at("vector") && tokens_[at_ + 1].text == "[") makeVector(result);
    return result;
}

template <class Node>
auto Parser<Node>::typeChoice() -> Type {
    expect("(");
    enter();
    Type result;
    result.form = TypeForm::choice;
    result.choices.reserve(4);
    bool areScalars = true;
    do {
        Type choice = type();
        areScalars = areScalars && choice.form == TypeForm::scalars;
        result.choices.push_back(std::move(choice));
    } while (accept("|"));
    leave(")");
    if (areScalars) joinScalars(result);
    return result;
}

template <class Node>
auto Parser<Node>::plainType() -> Type {
    Type type;
    if (const TypeClass* scalars = typeClassNamed(token().text)) {
        ++at_;
        type.form = TypeForm::scalars;
        type.scalars = scalars->scalars;
        return type;
    }
    if (accept("keyword")) return keyword();
    if (accept("string")) {
        carriesNumbers_ = false;
        type.form = TypeForm::string;
        return type;
    }
    if (accept("typeof")) {
        type.form = TypeForm::typeOf;
    } else if (accept("elementof")) {
        type.form = TypeForm::elementOf;
    } else if (accept("contentof")) {
        type.form = TypeForm::contentOf;
    } else {
        failExpecting("a type");
    }
    type.reference = reference();
    return type;
}

template <class Node>
auto Parser<Node>::keyword() -> Type {
    Type type;
    carriesNumbers_ = false;
    type.form = TypeForm::keyword;
    type.set = word("the keyword set's name");
    if (!accept("{")) return type;
    do {
        words_.push_back(word("a keyword"));
        type.words.emplace_back(words_.back());
    } while (accept(","));
    expect("}");
    return type;
}

template <class Node>
void Parser<Node>::makeVector(Type& type) {
    if (type.form != TypeForm::scalars && type.form != TypeForm::elementOf && type.form != TypeForm::contentOf)
        throw SignatureError("a vector's elements are scalars", token().offset);
    carriesNumbers_ = false;
    type.form = TypeForm::vectors;
    expect("vector");
    expect("[");
    type.indexIsValue = accept("valueof");
    if (type.indexIsValue) {
        type.index = reference();
    } else {
        if (!at("uint16") && !at("uint32")) failExpecting("uint16, uint32 or valueof");
        type.index = word("a type");
    }
    expect("]");
}

template <class Node>
std::string_view Parser<Node>::reference() {
    expect("(");
    const int offset = token().offset;
    const std::string_view name = word("a parameter's name");
    if (std::find(known_.begin(), known_.end(), name) == known_.end())
        throw SignatureError("no parameter " + quoted(name) + " comes before this", offset);
    expect(")");
    return name;
}

void requireLength(std::string_view text) {
    if (text.size() > longestSignature)
        throw SignatureError("a signature is at most " + std::to_string(longestSignature) + " bytes long", 0);
}

}  // namespace

SignatureError::SignatureError(const std::string& message, int offset)
    : Problem(message + " (at byte " + std::to_string(offset + 1) + " of the signature)"), offset_(offset) {}

Signature parseSignature(std::string_view text) {
    requireLength(text);
    return {Parser<SignatureNode>(text).signature()};
}

std::vector<std::string> checkSignature(std::string_view text) {
    requireLength(text);
    Parser<CheckedNode> parser(text);
    parser.signature();
    std::vector<std::string> words;
    for (const std::string_view word : parser.words())
        if (std::find(words.begin(), words.end(), word) == words.end()) words.emplace_back(word);
    return words;
}

}  // namespace libzepl
