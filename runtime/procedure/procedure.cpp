#include "runtime/procedure.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <utility>

#include "runtime/files/input_file.h"
#include "runtime/procedure/parser.h"

namespace libzepl {

namespace {

using Token = ProcedureToken;
using Kind = Token::Kind;

constexpr std::size_t maxText = std::size_t{16} << 20;  // bytes

Place placeOf(std::size_t offset, std::string_view text) {
    const std::string_view before = text.substr(0, offset);
    const std::size_t lineFeed = before.rfind('\n');
    const std::size_t firstLine = text.starts_with(byteOrderMark) ? byteOrderMark.size() : 0;
    const std::size_t lineStart = lineFeed == std::string_view::npos ? firstLine : lineFeed + 1;
    const auto lineFeeds = std::count(before.begin(), before.end(), '\n');
    return {static_cast<int>(lineFeeds) + 1, static_cast<int>(offset - lineStart) + 1, 1};
}

}  // namespace

void ProcedureParser::parse() {
    while (cursor_.hasStatement() && !mistakes_.full()) {
        try {
            parseStatement();
        } catch (const StatementBroken&) {
            // The mistake has been added; reading continues at the next statement.
        }
        cursor_.leaveStatement();
    }
    hideDeclaredNumbers();
}

void ProcedureParser::parseStatement() {
    const Token first = cursor_.takeWord("a declaration or a command");
    if (cursor_.peek().isMark('(')) return parseCommand(first);
    if (first.text == "rate") return parseRate(first);
    if (first.text == "feed") return parseFeed(first);
    if (first.text == "pipe") return parsePipe();
    if (first.text == "trigger") return parseTrigger();
    if (first.text == "variable") return parseVariable();
    if (first.text == "vector") return parseVector();
    refuseStatement(first);
}

// Neither a declaration nor a command: a word that is nearly a declaration's was meant for it.
void ProcedureParser::refuseStatement(const Token& first) {
    const std::string meant = suggestion(first.text, {declarationWords.begin(), declarationWords.end()});
    if (!meant.empty()) cursor_.refuseAt(first.place, "unknown declaration " + quoted(first.text), meant);
    cursor_.refuse(
        "`(` and the arguments of " + quoted(first.text),
        "a line is a declaration (rate, feed, pipe, trigger, variable, vector) or COMMAND ( argument, ... )");
}

void ProcedureParser::parseRate(const Token& first) {
    if (lineOfRate_ != 0)
        cursor_.refuseAt(first.place, "the rate is given at line " + std::to_string(lineOfRate_),
                         "leave one of the two out");
    lineOfRate_ = first.place.line;
    const double rate = takeRate();
    cursor_.takeEnd();
    procedure_.rate = rate;
}

void ProcedureParser::parseFeed(const Token& first) {
    if (procedure_.lockstep)
        cursor_.refuseAt(first.place, "`feed lockstep` is given twice", "leave one of the two out");
    const Token how = cursor_.takeWord("`lockstep`");
    if (how.text != "lockstep")
        cursor_.refuseAt(how.place, "a procedure's inputs feed in lockstep, and not " + quoted(how.text),
                         "write feed lockstep; --feed has the other ways");
    cursor_.takeEnd();
    procedure_.lockstep = true;
}

double ProcedureParser::takeRate() {
    const Token token = takeNumber();
    const double rate = valueOf(token).real;
    if (!(rate > 0) || std::isinf(rate))
        cursor_.refuseAt(token.place, "a rate is a positive, finite number, not " + quoted(token.text));
    return rate;
}

void ProcedureParser::parsePipe() {
    const Token name = takeName("the name of a pipe");
    const ElementType type = takeTypeOfDeclaration();
    Clauses clauses = takeClauses(inPipe);
    procedure_.pipes.push_back({std::string(name.text), name.place, type, clauses.capacity, std::move(clauses.starts),
                                clauses.source(), clauses.target(), clauses.capacityPlace, clauses.interleaved});
}

void ProcedureParser::parseTrigger() {
    const Token name = takeName("the name of a trigger");
    const Clauses clauses = takeClauses(inTrigger);
    procedure_.triggers.push_back({std::string(name.text), name.place, clauses.source(), clauses.target()});
}

void ProcedureParser::parseVariable() {
    const Token name = takeName("the name of a variable");
    const ElementType type = takeTypeOfDeclaration();
    cursor_.takeMark('=', "`=` and a number");
    const Number value = valueOf(takeNumber(), type);
    cursor_.takeEnd();
    procedure_.variables.push_back({std::string(name.text), name.place, type, value});
}

void ProcedureParser::parseVector() {
    const Token name = takeName("the name of a vector");
    VectorDeclaration vector{std::string(name.text), name.place, takeTypeOfDeclaration(), {}, {}, {}};
    if (cursor_.takeIf('=')) {
        vector.values = takeValues(vector.type);
        cursor_.takeEnd();
    } else if (cursor_.peek().kind != Kind::word) {
        cursor_.refuse("`= [ ... ]` or `from` and a file");
    } else {
        const Clauses clauses = takeClauses(inVector);
        vector.from = clauses.source();
        vector.interleaved = clauses.interleaved;
    }
    procedure_.vectors.push_back(std::move(vector));
}

void ProcedureParser::parseCommand(const Token& name) {
    CommandUse use{std::string(name.text), name.place, {}};
    cursor_.takeMark('(', "`(`");
    if (!cursor_.peek().isMark(')')) {
        do {
            use.arguments.push_back(parseArgument());
        } while (cursor_.takeIf(','));
    }
    cursor_.takeMark(')', "`,` or `)`");
    cursor_.takeEnd();
    procedure_.commands.push_back(std::move(use));
}

Argument ProcedureParser::parseArgument() {
    if (atNumber()) return parseNumberArgument();
    const Token& next = cursor_.peek();
    if (next.isMark('['))
        cursor_.refuseAt(next.place, "an argument is a name, a number, a word or a text",
                         "declare the values, vector NAME : TYPE = [ ... ], and give the name");
    if (next.kind != Kind::word && next.kind != Kind::text) cursor_.refuse("an argument");
    const Token token = cursor_.take();
    Argument argument;
    argument.kind = token.kind == Kind::text ? Argument::Kind::text : Argument::Kind::word;
    argument.written = token.text;
    argument.text = token.kind == Kind::text ? unquoted(token.text) : argument.written;
    argument.place = token.place;
    return argument;
}

Argument ProcedureParser::parseNumberArgument() {
    const Token token = takeNumber();
    Argument argument;
    argument.kind = Argument::Kind::number;
    argument.text = argument.written = token.text;
    argument.place = token.place;
    if (cursor_.takeIf(':')) argument.type = takeType();
    argument.number = argument.type ? valueOf(token, *argument.type) : valueOf(token);
    return argument;
}

// No word is reserved, so a name that is declared hides the number that is written like it.
void ProcedureParser::hideDeclaredNumbers() {
    if (!lineOfName_.contains("nan") && !lineOfName_.contains("inf")) return;
    for (CommandUse& use : procedure_.commands)
        for (Argument& argument : use.arguments)
            if (argument.kind == Argument::Kind::number && !argument.type && lineOfName_.contains(argument.text))
                argument.kind = Argument::Kind::word;
}

Token ProcedureParser::takeName(std::string_view wanted) {
    const Token name = cursor_.takeWord(wanted);
    const auto [declared, isNew] = lineOfName_.try_emplace(std::string(name.text), name.place.line);
    if (!isNew)
        cursor_.refuseAt(name.place, quoted(name.text) + " is declared at line " + std::to_string(declared->second),
                         "give this one another name");
    return name;
}

ElementType ProcedureParser::takeType() {
    const Token word = cursor_.takeWord("a type: int16, int32, float or double");
    if (const auto type = elementTypeNamed(word.text)) return *type;
    const std::string meant = suggestion(word.text, {"int16", "int32", "float", "double"});
    cursor_.refuseAt(word.place, "unknown type " + quoted(word.text),
                     meant.empty() ? "the types are int16, int32, float and double" : meant);
}

ElementType ProcedureParser::takeTypeOfDeclaration() {
    cursor_.takeMark(':', "`:` and a type");
    declaredType_ = takeType();
    return declaredType_;
}

bool ProcedureParser::atNumber() const {
    const Token& next = cursor_.peek();
    return next.kind == Kind::number || (next.kind == Kind::word && (next.text == "nan" || next.text == "inf"));
}

Token ProcedureParser::takeNumber() {
    if (!atNumber()) cursor_.refuse("a number");
    return cursor_.take();
}

Number ProcedureParser::valueOf(const Token& token) {
    std::optional<Number> number = parseNumber(token.text);
    if (!number) cursor_.refuseAt(token.place, whyNoNumber(token.text));
    number->place = token.place;
    return *number;
}

// A number that its type does not hold is reported, and the statement read on: others in it may be wrong as well.
Number ProcedureParser::valueOf(const Token& token, ElementType type) {
    const Number number = valueOf(token);
    if (!holds(type, number)) mistakes_.add(notHeld(type, number, token.text));
    return number;
}

std::int64_t ProcedureParser::takeCount(const std::string& clause, std::int64_t most) {
    const Token token = takeNumber();
    const Number number = valueOf(token);
    const std::string bound =
        most == std::numeric_limits<std::int64_t>::max() ? std::string() : " to " + std::to_string(most);
    if (!number.isInteger || number.integer < 1 || number.integer > most)
        cursor_.refuseAt(token.place,
                         libzepl::quoted(clause) + " takes an integer from 1" + bound + ", not " + quoted(token.text));
    return number.integer;
}

std::vector<Number> ProcedureParser::takeValues(ElementType type) {
    std::vector<Number> values;
    cursor_.takeMark('[', "`[` and values");
    do {
        // A comma may close the list, so that lines of values can be moved about.
        if (!values.empty() && cursor_.peek().isMark(']')) break;
        values.push_back(valueOf(takeNumber(), type));
    } while (cursor_.takeIf(','));
    cursor_.takeMark(']', "`,` or `]`");
    return values;
}

Procedure parseProcedure(SourceText source, std::vector<Diagnostic>& diagnostics) {
    Procedure procedure;
    procedure.source = std::move(source);
    const std::string& text = procedure.source.text;
    Mistakes mistakes(diagnostics);
    if (text.size() > maxText) {
        mistakes.add(Place{}, "a procedure of over 16 MiB", "is this a recording? it is named in a `from` clause");
        return procedure;
    }
    if (startsAsWideText(text)) {
        mistakes.add(Place{1, 1, 1}, "the text is UTF-16 or UTF-32", "save it as UTF-8");
        return procedure;
    }
    if (const std::size_t nul = text.find('\0'); nul != std::string::npos) {
        mistakes.add(placeOf(nul, text), "a NUL character", "a procedure is plain text in UTF-8");
        return procedure;
    }
    ProcedureParser(procedure, mistakes).parse();
    return procedure;
}

}  // namespace libzepl
