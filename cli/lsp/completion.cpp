#include "cli/lsp/completion.h"

#include <algorithm>
#include <cctype>
#include <optional>

#include "cli/lsp/language.h"
#include "cli/pages.h"
#include "runtime/files.h"
#include "runtime/parameters.h"
#include "runtime/words.h"

namespace cli::lsp {

namespace {

using namespace libzepl;
using Next = StatementReader::Next;
using Kind = Candidate::Kind;
using Resolved = ResolvedArgument::Kind;

// Lists longer than that get every name.
constexpr std::size_t maxMatched = 100;

bool isOfWord(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; }

Kind kindOf(std::string_view declared) {
    return declared == "constant"  ? Kind::constant
           : declared == "trigger" ? Kind::event
           : declared == "vector"  ? Kind::value
           : declared == "pipe"    ? Kind::module
                                   : Kind::variable;
}

void addNames(const SignatureNode& node, std::vector<std::string>& names) {
    if (node.form == SignatureNode::Form::parameter) names.push_back(node.parameter.name);
    if (node.form == SignatureNode::Form::alternatives) return addNames(node.children.front(), names);
    if (node.form == SignatureNode::Form::sequence || node.form == SignatureNode::Form::oneOrMore)
        for (const SignatureNode& child : node.children) addNames(child, names);
}

// "(${1:src}, ${2:dest})": the first alternative without what is optional, in the form that editors fill in.
std::string snippetOf(const Signature& signature) {
    std::vector<std::string> names;
    addNames(signature.root, names);
    std::string snippet = "(";
    for (std::size_t i = 0; i < names.size(); ++i)
        snippet += (i == 0 ? "" : ", ") + ("${" + std::to_string(i + 1) + ":" + names[i] + "}");
    return snippet + ")";
}

class Completer {
 public:
    Completer(const Outline& outline, const Context& context, const CommandLibrary& library)
        : names_(outline.names), context_(context), library_(library) {}

    std::vector<Candidate> all() {
        const StatementReader& reader = context_.reader;
        // A bracket that was left open does not hide what a line can begin with.
        if (context_.startsLine) addStatements();
        switch (reader.next()) {
            case Next::type:
                addWords(typeNames(), Kind::type);
                break;
            case Next::operand:
                reader.isInLength() ? addDeclared("pipe") : addOperands(reader.isDefinition());
                break;
            case Next::argument:
                addArguments();
                break;
            case Next::column:
                addDeclared("pipe");
                addWords(countingColumns(), Kind::keyword);
                break;
            case Next::clause:
                addClauses();
                break;
            case Next::lockstep:
                addWords({"lockstep"}, Kind::keyword);
                break;
            case Next::seconds:
                addWords({"seconds"}, Kind::keyword);
                break;
            case Next::conversion:
                for (const ConversionName& each : conversionNames())
                    found_.push_back({.label = each.name, .kind = Kind::keyword, .detail = each.meaning});
                break;
            case Next::format:
                addWords({"wav", "flac", "npy", "csv", "raw"}, Kind::keyword);
                break;
            default:
                break;
        }
        return std::move(found_);
    }

 private:
    void addWords(const std::vector<std::string>& words, Kind kind, const std::string& detail = {}) {
        for (const std::string& word : words) found_.push_back({.label = word, .kind = kind, .detail = detail});
    }

    void addLanguage(const std::vector<LanguageWord>& words) {
        for (const LanguageWord& each : words)
            found_.push_back({.label = each.word, .kind = Kind::keyword, .detail = each.meaning});
    }

    void addStatements() {
        addLanguage(statementWords());
        for (const Command& command : library_.commands()) {
            Candidate candidate{.label = command.name, .kind = Kind::function, .detail = summaryOf(command)};
            if (candidate.detail.empty()) candidate.detail = "of the module " + command.module;
            if (command.parsed != nullptr) candidate.snippet = command.name + " " + snippetOf(*command.parsed);
            found_.push_back(std::move(candidate));
        }
    }

    void addClauses() {
        const StatementReader& reader = context_.reader;
        for (const LanguageWord& each : clausesAfter(reader.statement(), reader.isDefinition())) {
            const bool isGiven =
                std::find(reader.clauses().begin(), reader.clauses().end(), each.word) != reader.clauses().end();
            const bool isAgain = !found_.empty() && found_.back().label == each.word;
            if (!isGiven && !isAgain)
                found_.push_back({.label = each.word, .kind = Kind::keyword, .detail = each.meaning});
        }
    }

    void addName(std::string_view name, const Declaration& declaration, bool isFirst = false) {
        std::string detail(declaration.kind);
        if (declaration.isArray) detail = "array of " + detail + "s";
        if (!declaration.type.empty()) detail += " of " + std::string(declaration.type);
        found_.push_back({std::string(name), kindOf(declaration.kind), std::move(detail), {}, isFirst});
    }

    void addDeclared(std::string_view kind) {
        for (const auto& [name, declaration] : names_.declared())
            if (declaration.kind == kind) addName(name, declaration);
    }

    void addOperands(bool inDefinition) {
        if (inDefinition) {
            addDeclared("pipe");
            addDeclared("variable");
        }
        addDeclared("constant");
        addWords(numberWords(), Kind::constant);
        for (const std::string& each : functionsOfExpressions())
            found_.push_back({.label = each, .kind = Kind::function, .detail = "function", .snippet = each + "($1)"});
    }

    // By the signature, as far as the arguments before fit it.
    void addArguments() {
        const Command* command = library_.find(context_.reader.statement());
        const std::vector<ResolvedArgument> before = argumentsBefore();
        const bool isMatched = command != nullptr && command->parsed != nullptr && before.size() <= maxMatched;
        std::optional<NextParameters> next;
        if (isMatched) next.emplace(*command->parsed, before);
        const bool isKnown = next && !next->all().empty();
        for (const auto& [name, declaration] : names_.declared()) {
            const std::optional<ResolvedArgument> argument = resolved(name);
            if (!argument) continue;
            const bool isAdmitted = isKnown && next->admit(*argument);
            if (isAdmitted || !isKnown || admitsOtherType(*next, *argument)) addName(name, declaration, isAdmitted);
        }
        if (!isKnown) return addOperands(false);
        addKeywords(next->all());
        ResolvedArgument number;
        number.number.isInteger = true;
        number.number.integer = 1;
        number.number.real = 1;
        if (!next->admit(number)) return;
        addWords(numberWords(), Kind::constant);
        addWords(functionsOfExpressions(), Kind::function, "function");
    }

    // Whether it is of the kind that the place takes, though not of its type.
    static bool admitsOtherType(const NextParameters& next, ResolvedArgument argument) {
        return std::any_of(allElementTypes.begin(), allElementTypes.end(), [&](ElementType type) {
            argument.type = type;
            return next.admit(argument);
        });
    }

    void addKeywords(const std::vector<const SignatureParameter*>& parameters) {
        for (const SignatureParameter* parameter : parameters) {
            addKeywords(parameter->type);
            for (const SignatureType& choice : parameter->type.choices) addKeywords(choice);
        }
    }
    void addKeywords(const SignatureType& type) {
        if (type.form != SignatureType::Form::keyword) return;
        if (type.words.empty() && type.set == "region") addWords({"inside", "outside"}, Kind::keyword);
        addWords(type.words, Kind::keyword);
    }

    // As the binder sees it: a constant is a number, of the kind that fits most.
    std::optional<ResolvedArgument> resolved(std::string_view name) const {
        ResolvedArgument argument;
        const Declaration* declaration = names_.find(name);
        if (declaration == nullptr) return std::nullopt;
        argument.type = elementTypeNamed(declaration->type).value_or(ElementType::int16);
        if (declaration->kind == "pipe")
            argument.kind = Resolved::pipe;
        else if (declaration->kind == "trigger")
            argument.kind = Resolved::trigger;
        else if (declaration->kind == "variable")
            argument.kind = Resolved::variable;
        else if (declaration->kind == "vector")
            argument.kind = Resolved::vector;
        else if (declaration->kind == "constant")
            argument.number = *parseNumber("1");
        else
            return std::nullopt;
        return argument;
    }

    std::vector<ResolvedArgument> argumentsBefore() const {
        const std::vector<ArgumentSketch>& sketches = context_.reader.arguments();
        std::vector<ResolvedArgument> arguments;
        for (std::size_t i = 0; i + 1 < sketches.size(); ++i) {
            ResolvedArgument argument;
            argument.number = *parseNumber(sketches[i].isPoint ? "1.0" : "1");
            if (sketches[i].kind == ArgumentSketch::Kind::text) argument.kind = Resolved::text;
            if (sketches[i].kind == ArgumentSketch::Kind::name) {
                if (const std::optional<ResolvedArgument> named = resolved(sketches[i].text)) {
                    argument = *named;
                } else {
                    argument.kind = Resolved::word;
                    argument.text = sketches[i].text;
                }
            }
            arguments.push_back(std::move(argument));
        }
        return arguments;
    }

    const Names& names_;
    const Context& context_;
    const CommandLibrary& library_;
    std::vector<Candidate> found_;
};

}  // namespace

std::vector<Candidate> completionsAt(const Outline& outline, std::size_t offset, const CommandLibrary& library) {
    const std::string& text = outline.procedure.source.text;
    std::size_t start = std::min(offset, text.size());
    while (start > 0 && isOfWord(text[start - 1])) --start;
    const Context context = contextAt(text, start);
    if (context.isSilent) return {};
    return Completer(outline, context, library).all();
}

}  // namespace cli::lsp
