#include <algorithm>
#include <array>
#include <utility>

#include "runtime/signature.h"

namespace libzepl {

namespace {

constexpr std::size_t longestSignature = 65536;
constexpr int maxNesting = 32;  // the parsed form is walked recursively

// A word, a mark of one character, or the end, whose text is empty.
struct Token {
    std::string_view text;
    int offset = 0;
};

// The language is ASCII whatever the locale.
bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
bool isWordCharacter(char c) { return isLetter(c) || (c >= '0' && c <= '9'); }
bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
bool isWord(const Token& token) { return !token.text.empty() && isLetter(token.text.front()); }

std::vector<Token> tokensOf(std::string_view text) {
    std::vector<Token> tokens;
    tokens.reserve(text.size() / 4 + 1);
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t start = at++;
        if (isBlank(text[start])) continue;
        const int offset = static_cast<int>(start);
        if (isLetter(text[start])) {
            while (at < text.size() && isWordCharacter(text[at])) ++at;
        } else if (std::string_view("()[]{}|,+*").find(text[start]) == std::string_view::npos) {
            throw SignatureError("a signature has no place for " + quoted(text.substr(start, 1)), offset);
        }
        tokens.push_back({text.substr(start, at - start), offset});
    }
    tokens.push_back({{}, static_cast<int>(text.size())});
    return tokens;
}

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

bool carriesNumbers(const SignatureType& type) {
    if (type.form == TypeForm::choice) return std::all_of(type.choices.begin(), type.choices.end(), carriesNumbers);
    return type.form != TypeForm::string && type.form != TypeForm::keyword && type.form != TypeForm::vectors;
}

class Parser {
 public:
    explicit Parser(std::string_view text) : tokens_(tokensOf(text)) {}
    Signature signature();

 private:
    const Token& token() const { return tokens_[at_]; }
    bool at(std::string_view text) const { return token().text == text; }
    bool accept(std::string_view text);
    void expect(std::string_view text);
    std::string word(std::string_view what);
    [[noreturn]] void failExpecting(const std::string& what) const;
    void enter();
    void leave(std::string_view bracket);

    SignatureNode alternatives();
    SignatureNode sequence();
    SignatureNode item();
    SignatureNode parameter();
    SignatureKind kind();
    SignatureType parameterType(SignatureKind kind);
    SignatureType type();
    SignatureType typeChoice();
    SignatureType plainType();
    SignatureType keyword();
    void makeVector(SignatureType& type);
    std::string reference();

    std::vector<Token> tokens_;
    std::size_t at_ = 0;
    int depth_ = 0;
    std::vector<std::string_view> known_;  // the parameters that can come before this place
};

bool Parser::accept(std::string_view text) {
    if (!at(text)) return false;
    ++at_;
    return true;
}

void Parser::expect(std::string_view text) {
    if (!accept(text)) failExpecting(quoted(text));
}

std::string Parser::word(std::string_view what) {
    if (!isWord(token())) failExpecting(std::string(what));
    return std::string(tokens_[at_++].text);
}

void Parser::failExpecting(const std::string& what) const {
    const std::string found = token().text.empty() ? "the end" : quoted(token().text);
    throw SignatureError("expected " + what + ", found " + found, token().offset);
}

void Parser::enter() {
    if (++depth_ > maxNesting)
        throw SignatureError("brackets are nested more than " + std::to_string(maxNesting) + " deep",
                             tokens_[at_ - 1].offset);
}

void Parser::leave(std::string_view bracket) {
    expect(bracket);
    --depth_;
}

Signature Parser::signature() {
    Signature result;
    expect("(");
    if (!accept(")")) {
        enter();
        result.root = alternatives();
        leave(")");
    }
    if (!at({})) failExpecting("the end");
    return result;
}

SignatureNode Parser::alternatives() {
    const std::size_t before = known_.size();
    SignatureNode first = sequence();
    if (!at("|")) return first;
    std::vector<std::string_view> others;  // that the alternatives so far can give
    SignatureNode node{.form = SignatureNode::Form::alternatives, .parameter = {}, .children = {}};
    node.children.push_back(std::move(first));
    while (accept("|")) {
        others.insert(others.end(), known_.begin() + static_cast<std::ptrdiff_t>(before), known_.end());
        known_.resize(before);
        node.children.push_back(sequence());
    }
    known_.insert(known_.end(), others.begin(), others.end());
    return node;
}

SignatureNode Parser::sequence() {
    SignatureNode node;
    bool separated = accept(",");
    while (!at(")") && !at("]") && !at("|") && !at({})) {
        const bool besideGroup =
            at("(") || at("[") || node.children.empty() || node.children.back().form != SignatureNode::Form::parameter;
        if (!separated && !besideGroup) failExpecting(quoted(","));
        node.children.push_back(item());
        separated = accept(",");
    }
    if (node.children.empty()) failExpecting("a parameter");
    return node;
}

SignatureNode Parser::item() {
    if (accept("(")) {
        enter();
        SignatureNode node = alternatives();
        leave(")");
        return node;
    }
    if (!accept("[")) return parameter();
    enter();
    SignatureNode group{.form = SignatureNode::Form::optional, .parameter = {}, .children = {}};
    group.children.push_back(alternatives());
    leave("]");
    if (accept("+")) group.form = SignatureNode::Form::oneOrMore;
    if (group.form == SignatureNode::Form::optional && accept("*")) group.form = SignatureNode::Form::zeroOrMore;
    return group;
}

SignatureNode Parser::parameter() {
    if (!isWord(token())) failExpecting("a parameter");
    SignatureNode node{.form = SignatureNode::Form::parameter, .parameter = {}, .children = {}};
    SignatureParameter& parameter = node.parameter;
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

SignatureKind Parser::kind() {
    if (accept("pipe")) return SignatureKind::pipe;
    if (accept("storage")) return SignatureKind::storage;
    return accept("trigger") ? SignatureKind::trigger : SignatureKind::none;
}

SignatureType Parser::parameterType(SignatureKind kind) {
    const int offset = token().offset;
    SignatureType result = type();
    if (kind == SignatureKind::pipe && !carriesNumbers(result))
        throw SignatureError("a pipe carries scalars, not texts, words or vectors", offset);
    return result;
}

SignatureType Parser::type() {
    SignatureType result = at("(") ? typeChoice() : plainType();
    // The next token exists: the last one is the end.
    if (at("vector") && tokens_[at_ + 1].text == "[") makeVector(result);
    return result;
}

SignatureType Parser::typeChoice() {
    expect("(");
    enter();
    SignatureType result;
    result.form = TypeForm::choice;
    result.choices.reserve(4);
    do {
        result.choices.push_back(type());
    } while (accept("|"));
    leave(")");
    const auto isScalars = [](const SignatureType& type) { return type.form == TypeForm::scalars; };
    if (!std::all_of(result.choices.begin(), result.choices.end(), isScalars)) return result;
    SignatureType scalars;
    scalars.form = TypeForm::scalars;
    for (const SignatureType& choice : result.choices)
        scalars.scalars.insert(scalars.scalars.end(), choice.scalars.begin(), choice.scalars.end());
    return scalars;
}

SignatureType Parser::plainType() {
    SignatureType type;
    if (const TypeClass* scalars = typeClassNamed(token().text)) {
        ++at_;
        type.form = TypeForm::scalars;
        type.scalars = scalars->scalars;
        return type;
    }
    if (accept("keyword")) return keyword();
    if (accept("string")) {
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

SignatureType Parser::keyword() {
    SignatureType type;
    type.form = TypeForm::keyword;
    type.set = word("the keyword set's name");
    if (!accept("{")) return type;
    do {
        type.words.push_back(word("a keyword"));
    } while (accept(","));
    expect("}");
    return type;
}

void Parser::makeVector(SignatureType& type) {
    if (type.form != TypeForm::scalars && type.form != TypeForm::elementOf && type.form != TypeForm::contentOf)
        throw SignatureError("a vector's elements are scalars", token().offset);
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

std::string Parser::reference() {
    expect("(");
    const int offset = token().offset;
    std::string name = word("a parameter's name");
    if (std::find(known_.begin(), known_.end(), name) == known_.end())
        throw SignatureError("no parameter " + quoted(name) + " comes before this", offset);
    expect(")");
    return name;
}

}  // namespace

SignatureError::SignatureError(const std::string& message, int offset)
    : Problem(message + " (at byte " + std::to_string(offset + 1) + " of the signature)"), offset_(offset) {}

Signature parseSignature(std::string_view text) {
    if (text.size() > longestSignature)
        throw SignatureError("a signature is at most " + std::to_string(longestSignature) + " bytes long", 0);
    return Parser(text).signature();
}

}  // namespace libzepl
