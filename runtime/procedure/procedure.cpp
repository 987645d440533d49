#include "runtime/procedure.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include "runtime/expressions/parser.h"
#include "runtime/files/input_file.h"
#include "runtime/procedure/parser.h"
#include "runtime/procedure/quantities.h"

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
        const std::size_t formulas = procedure_.formulas.size();
        try {
            parseStatement();
        } catch (const StatementBroken&) {
            // The mistake has been added; reading continues at the next statement.
            procedure_.formulas.resize(formulas);
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
    if (first.text == "constant") return parseConstant();
    if (first.text == "pipe") return parsePipe();
    if (first.text == "trigger") return parseTrigger();
    if (first.text == "variable") return parseVariable();
    if (first.text == "vector") return parseVector();
    if (first.text == "table") return parseTable();
    refuseStatement(first);
}

// Neither a declaration nor a command: a word that is nearly a declaration's was meant for it.
void ProcedureParser::refuseStatement(const Token& first) {
    const std::string meant = suggestion(first.text, {declarationWords.begin(), declarationWords.end()});
    if (!meant.empty()) cursor_.refuseAt(first.place, "unknown declaration " + quoted(first.text), meant);
    cursor_.refuse(
        "`(` and the arguments of " + quoted(first.text),
        "a line is a declaration (rate, feed, constant, pipe, trigger, variable, vector, table) or COMMAND ( argument, ... )");
}

void ProcedureParser::parseRate(const Token& first) {
    if (lineOfRate_ != 0)
        cursor_.refuseAt(first.place, "the rate is given at line " + std::to_string(lineOfRate_),
                         "leave one of the two out");
    lineOfRate_ = first.place.line;
    procedure_.rate = takeRate(Formula::Goes::rate);
    cursor_.takeEnd();
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

void ProcedureParser::parseConstant() {
    const Token name = takeName("the name of a constant");
    cursor_.takeMark('=', "`=` and an expression");
    ExpressionTree tree = std::make_shared<Expression>(takeExpression(cursor_, "a number"));
    cursor_.takeEnd();
    procedure_.constants.push_back({std::string(name.text), name.place, std::move(tree)});
}

void ProcedureParser::parsePipe() {
    const Token name = takeName("the name of a pipe");
    startDeclaration(Formula::Of::pipes, procedure_.pipes.size());
    ArrayPlace array = takeArray();
    PipeDeclaration pipe;
    pipe.name = name.text;
    pipe.place = name.place;
    pipe.type = takeTypeOfDeclaration();
    pipe.array = std::move(array);
    if (cursor_.takeIf('=')) takeDefinition(pipe);
    Clauses clauses = takeClauses(pipe.definition ? inDefinition : inPipe);
    pipe.capacity = clauses.capacity;
    pipe.starts = std::move(clauses.starts);
    pipe.from = clauses.source();
    pipe.to = clauses.target();
    pipe.capacityPlace = clauses.capacityPlace;
    pipe.interleaved = clauses.interleaved;
    procedure_.pipes.push_back(std::move(pipe));
}

void ProcedureParser::takeDefinition(PipeDeclaration& pipe) {
    const Token first = cursor_.peek();
    pipe.definition = std::make_shared<Expression>(takeExpression(cursor_, "an expression"));
    pipe.definedAs = cursor_.writtenSince(first);
}

void ProcedureParser::parseTrigger() {
    const Token name = takeName("the name of a trigger");
    startDeclaration(Formula::Of::triggers, procedure_.triggers.size());
    ArrayPlace array = takeArray();
    const Clauses clauses = takeClauses(inTrigger);
    procedure_.triggers.push_back(
        {std::string(name.text), name.place, clauses.source(), clauses.target(), std::move(array)});
}

void ProcedureParser::parseVariable() {
    const Token name = takeName("the name of a variable");
    startDeclaration(Formula::Of::variables, procedure_.variables.size());
    VariableDeclaration variable{std::string(name.text), name.place, {}, {}, takeArray()};
    variable.type = takeTypeOfDeclaration();
    cursor_.takeMark('=', "`=` and a number");
    variable.valuesPlace = cursor_.peek().place;
    if (variable.array.isWhole() && cursor_.peek().isMark('['))
        variable.values = takeValues(Formula::Goes::variableValue);
    else
        variable.value = takeQuantity(Formula::Goes::variableValue).value_or(Number{});
    cursor_.takeEnd();
    procedure_.variables.push_back(std::move(variable));
}

void ProcedureParser::parseVector() {
    const Token name = takeName("the name of a vector");
    startDeclaration(Formula::Of::vectors, procedure_.vectors.size());
    VectorDeclaration vector{std::string(name.text), name.place, {}, {}, {}, {}, takeArray()};
    vector.type = takeTypeOfDeclaration();
    if (cursor_.takeIf('=')) {
        parseVectorValues(vector);
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

void ProcedureParser::parseVectorValues(VectorDeclaration& vector) {
    const Token first = cursor_.peek();
    if (first.kind != Kind::word) {
        vector.values = takeValues(Formula::Goes::vectorValue);
        return;
    }
    Expression tree = takeExpression(cursor_, "`[` and values");
    if (tree.form != Expression::Form::call || tree.function->kind != Function::Kind::filter)
        cursor_.refuseAt(first.place, quoted(cursor_.writtenSince(first)) + " is no vector",
                         "write its values as [ ... ], or name a filter: lowpass, highpass, bandpass or bandstop");
    addFormula(Formula::Goes::vectorValues, std::move(tree), first);
}

void ProcedureParser::parseCommand(const Token& name) {
    CommandUse use{std::string(name.text), name.place, {}};
    startDeclaration(Formula::Of::commands, procedure_.commands.size());
    cursor_.takeMark('(', "`(`");
    if (!cursor_.peek().isMark(')')) {
        do {
            use.arguments.push_back(parseArgument(use.arguments.size()));
        } while (cursor_.takeIf(','));
    }
    cursor_.takeMark(')', "`,` or `)`");
    cursor_.takeEnd();
    procedure_.commands.push_back(std::move(use));
}

Argument ProcedureParser::parseArgument(std::size_t position) {
    const Token first = cursor_.peek();
    if (first.isMark('['))
        cursor_.refuseAt(first.place, "an argument is a name, a number, a word or a text",
                         "declare the values, vector NAME : TYPE = [ ... ], and give the name");
    if (first.kind != Kind::text) return parseExpressionArgument(first, position);
    cursor_.take();
    Argument argument;
    argument.kind = Argument::Kind::text;
    argument.written = first.text;
    argument.text = unquoted(first.text);
    argument.place = first.place;
    return argument;
}

Argument ProcedureParser::parseExpressionArgument(const Token& first, std::size_t position) {
    Expression tree = takeExpression(cursor_, "an argument");
    Argument argument;
    const bool isName = tree.form == Expression::Form::name && !tree.inParentheses;
    argument.givesAll = isName && cursor_.takeIf("...");
    argument.text = argument.written = cursor_.writtenSince(first);
    argument.place = cursor_.placeSince(first);
    if (argument.givesAll) argument.text = tree.name;
    if (argument.givesAll) return argument;
    const bool isElement = tree.form == Expression::Form::index && !tree.inParentheses;
    if (isElement && !cursor_.peek().isMark(':')) return elementArgument(std::move(argument), tree, position);
    const bool isWhole = tree.form != Expression::Form::sign && tree.form != Expression::Form::arithmetic;
    if (cursor_.peek().isMark(':') && !isWhole && !tree.inParentheses)
        cursor_.refuse("`,` or `)`", "the type of an expression goes after parentheses, as in (2 * n):int32");
    if (cursor_.takeIf(':')) argument.type = takeType();
    const std::optional<Number> literal = literalOf(tree);
    if (!literal && isName && !argument.type) return argument;
    argument.kind = Argument::Kind::number;
    if (!literal) {
        addFormula(Formula::Goes::argument, std::move(tree), first, position);
        procedure_.formulas.back().written = argument.written;
        procedure_.formulas.back().place = argument.place;
        return argument;
    }
    argument.number = *literal;
    if (argument.type && !holds(*argument.type, *literal))
        mistakes_.add(notHeld(*argument.type, *literal, argument.written));
    return argument;
}

// An element of an array.
Argument ProcedureParser::elementArgument(Argument argument, const Expression& tree, std::size_t position) {
    if (tree.operands.size() > 1)
        cursor_.refuseAt(argument.place, "a command takes pipes, and no past samples of them",
                         "a pipe that an expression defines gives them: pipe NAME : TYPE = EXPRESSION");
    argument.text = tree.name;
    const Expression& index = tree.operands[0];
    if (const std::optional<Number> literal = literalOf(index)) {
        if (auto mistake = mistakeOf(quantityAt(Formula::Goes::element, declaredType_), *literal, textOf(*literal)))
            cursor_.refuseAt(mistake->place, mistake->message, mistake->remedy);
        argument.element = literal->integer;
        return argument;
    }
    argument.element = 1;
    const std::size_t open = argument.written.find('[') + 1;
    procedure_.formulas.push_back({Formula::Goes::element, declaredIn_, declaration_, position,
                                   std::make_shared<Expression>(index),
                                   argument.written.substr(open, argument.written.size() - open - 1), argument.place});
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

// The count of an array, where one is declared.
ArrayPlace ProcedureParser::takeArray() {
    ArrayPlace array;
    if (!cursor_.takeIf('[')) return array;
    array.count = takeCount(Formula::Goes::elements, "the number of elements").value_or(1);
    cursor_.takeMark(']', "an operator or `]`");
    return array;
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

void ProcedureParser::startDeclaration(Formula::Of of, std::size_t declaration) {
    declaredIn_ = of;
    declaration_ = declaration;
}

void ProcedureParser::addFormula(Formula::Goes goes, Expression tree, const Token& first, std::size_t position) {
    procedure_.formulas.push_back({goes, declaredIn_, declaration_, position,
                                   std::make_shared<Expression>(std::move(tree)),
                                   std::string(cursor_.writtenSince(first)), cursor_.placeSince(first)});
}

std::optional<Number> ProcedureParser::literalOf(const Expression& tree) const {
    if (tree.form == Expression::Form::number) return tree.number;
    if (tree.form != Expression::Form::name || tree.inParentheses || !isNumberWord(tree.name)) return std::nullopt;
    Number number = *parseNumber(tree.name);
    number.place = tree.place;
    return number;
}

std::optional<Number> ProcedureParser::takeQuantity(Formula::Goes goes, std::string_view wanted) {
    const Token first = cursor_.peek();
    return quantityOf(takeExpression(cursor_, wanted), first, goes, 0);
}

// A number that its type does not hold is reported, and the statement read on: others in it may be wrong as well.
std::optional<Number> ProcedureParser::quantityOf(Expression tree, const Token& first, Formula::Goes goes,
                                                  std::size_t position) {
    const std::optional<Number> literal = literalOf(tree);
    if (!literal) {
        addFormula(goes, std::move(tree), first, position);
        return std::nullopt;
    }
    std::optional<Diagnostic> mistake =
        mistakeOf(quantityAt(goes, declaredType_), *literal, cursor_.writtenSince(first));
    if (!mistake) return literal;
    if (!isElement(goes)) cursor_.refuseAt(mistake->place, mistake->message, mistake->remedy);
    mistakes_.add(*mistake);
    return literal;
}

std::optional<double> ProcedureParser::takeRate(Formula::Goes goes) {
    const std::optional<Number> number = takeQuantity(goes);
    return number ? std::optional(number->real) : std::nullopt;
}

std::optional<std::int64_t> ProcedureParser::takeCount(Formula::Goes goes, std::string_view wanted) {
    const std::optional<Number> number = takeQuantity(goes, wanted);
    return number ? std::optional(number->integer) : std::nullopt;
}

std::optional<std::uint64_t> ProcedureParser::takeSize(Formula::Goes goes) {
    const std::optional<std::int64_t> count = takeCount(goes);
    return count ? std::optional(static_cast<std::uint64_t>(*count)) : std::nullopt;
}

std::vector<Number> ProcedureParser::takeValues(Formula::Goes goes) {
    std::vector<Number> values;
    cursor_.takeMark('[', "`[` and values");
    do {
        // A comma may close the list, so that lines of values can be moved about.
        if (!values.empty() && cursor_.peek().isMark(']')) break;
        const Token first = cursor_.peek();
        Expression tree = takeExpression(cursor_, "a number");
        if (goes == Formula::Goes::vectorValue && values.empty() && cursor_.peek().text == "for") {
            addFormula(Formula::Goes::vectorValues, {}, first);
            procedure_.formulas.back().tree = std::make_shared<Expression>(takeSeries(cursor_, std::move(tree)));
            break;
        }
        values.push_back(quantityOf(std::move(tree), first, goes, values.size()).value_or(Number{}));
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
