#include "runtime/procedure.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <unordered_map>
#include <utility>

#include "runtime/statement_cursor.h"

namespace libzepl {

namespace {

using Token = ProcedureToken;
using Kind = Token::Kind;

constexpr std::size_t greatestText = std::size_t{16} << 20;  // bytes

// The declarations that a clause can stand in.
enum Declaration : unsigned { inPipe = 1, inTrigger = 2, inVector = 4 };

// What follows the head of a declaration, and where which clause was given.
struct Clauses {
    std::optional<std::uint64_t> capacity;
    Place capacityPlace;
    std::vector<Number> starts;
    FileClause from, to;
    std::unordered_map<std::string_view, Place> given;

    std::optional<FileClause> source() const { return given.contains("from") ? std::optional(from) : std::nullopt; }
    std::optional<FileClause> target() const { return given.contains("to") ? std::optional(to) : std::nullopt; }
};

class Parser {
 public:
    Parser(Procedure& procedure, Mistakes& mistakes)
        : procedure_(procedure), mistakes_(mistakes), cursor_(procedure.source.text, mistakes) {}

    void parse();

 private:
    struct ClauseRow {
        std::string_view word;
        unsigned declarations;
        std::string_view needs;     // the clause that must stand in the same declaration
        std::string_view excludes;  // the clause that must not
        void (*read)(Parser&, Clauses&);
    };
    static const std::array<ClauseRow, 8> clauseRows;

    void parseStatement();
    void parseRate(const Token& first);
    void parsePipe();
    void parseTrigger();
    void parseVariable();
    void parseVector();
    void parseCommand(const Token& name);
    Argument parseArgument();
    Argument parseNumberArgument();
    void hideDeclaredNumbers();
    [[noreturn]] void refuseStatement(const Token& first);

    Token takeName(std::string_view wanted);
    ElementType takeType();
    ElementType takeTypeOfDeclaration();
    bool atNumber() const;
    Token takeNumber();
    Number valueOf(const Token& token);
    Number valueOf(const Token& token, ElementType type);
    std::int64_t takeCount(const std::string& clause);
    std::uint64_t takeSize(const std::string& clause) { return static_cast<std::uint64_t>(takeCount(clause)); }
    std::vector<Number> takeValues(ElementType type);

    Clauses takeClauses(Declaration declaration);
    const ClauseRow& takeClauseWord(Declaration declaration, Clauses& clauses);
    static std::vector<std::string> clauseWords(Declaration declaration);
    void checkPartners(const Clauses& clauses);
    void takeCapacity(Clauses& clauses);
    void takeFile(FileClause& file);
    void takeColumn(Clauses& clauses);

    Procedure& procedure_;
    Mistakes& mistakes_;
    StatementCursor cursor_;
    ElementType declaredType_ = ElementType::int16;  // of the declaration that is being read
    int lineOfRate_ = 0;
    std::unordered_map<std::string, int> lineOfName_;
};

const std::array<Parser::ClauseRow, 8> Parser::clauseRows{{
    {"capacity", inPipe, "", "", [](Parser& p, Clauses& to) { p.takeCapacity(to); }},
    {"starts", inPipe, "", "", [](Parser& p, Clauses& to) { to.starts = p.takeValues(p.declaredType_); }},
    {"from", inPipe | inTrigger | inVector, "", "", [](Parser& p, Clauses& to) { p.takeFile(to.from); }},
    {"channel", inPipe | inVector, "from", "column",
     [](Parser& p, Clauses& to) { to.from.channel = p.takeCount("channel"); }},
    {"column", inPipe | inVector, "from", "channel", [](Parser& p, Clauses& to) { p.takeColumn(to); }},
    {"convert", inPipe | inVector, "from", "",
     [](Parser& p, Clauses& to) { to.from.conversion = p.cursor_.takeWord("the name of a conversion").text; }},
    {"to", inPipe | inTrigger, "", "", [](Parser& p, Clauses& to) { p.takeFile(to.to); }},
    {"limit", inPipe | inTrigger, "to", "", [](Parser& p, Clauses& to) { to.to.limit = p.takeSize("limit"); }},
}};

void Parser::parse() {
    while (cursor_.hasStatement() && !mistakes_.full()) {
        try {
            parseStatement();
        } catch (const StatementBroken&) {
            // The mistake has been added; reading goes on at the next statement.
        }
        cursor_.leaveStatement();
    }
    hideDeclaredNumbers();
}

void Parser::parseStatement() {
    const Token first = cursor_.takeWord("a declaration or a command");
    if (cursor_.peek().isMark('(')) return parseCommand(first);
    if (first.text == "rate") return parseRate(first);
    if (first.text == "pipe") return parsePipe();
    if (first.text == "trigger") return parseTrigger();
    if (first.text == "variable") return parseVariable();
    if (first.text == "vector") return parseVector();
    refuseStatement(first);
}

// Neither a declaration nor a command: a word that is nearly a declaration's was meant for it.
void Parser::refuseStatement(const Token& first) {
    const std::string meant = suggestion(first.text, {declarationWords.begin(), declarationWords.end()});
    if (!meant.empty()) cursor_.refuseAt(first.place, "unknown declaration " + quoted(first.text), meant);
    cursor_.refuse("`(` and the arguments of " + quoted(first.text),
                   "a line is a declaration (rate, pipe, trigger, variable, vector) or COMMAND ( argument, ... )");
}

void Parser::parseRate(const Token& first) {
    if (lineOfRate_ != 0)
        cursor_.refuseAt(first.place, "the rate is given at line " + std::to_string(lineOfRate_),
                         "leave one of the two out");
    lineOfRate_ = first.place.line;
    const Token token = takeNumber();
    const double rate = valueOf(token).real;
    if (!(rate > 0) || std::isinf(rate))
        cursor_.refuseAt(token.place, "a rate is a positive, finite number, not " + quoted(token.text));
    cursor_.takeEnd();
    procedure_.rate = rate;
}

void Parser::parsePipe() {
    const Token name = takeName("the name of a pipe");
    const ElementType type = takeTypeOfDeclaration();
    Clauses clauses = takeClauses(inPipe);
    procedure_.pipes.push_back({std::string(name.text), name.place, type, clauses.capacity, std::move(clauses.starts),
                                clauses.source(), clauses.target(), clauses.capacityPlace});
}

void Parser::parseTrigger() {
    const Token name = takeName("the name of a trigger");
    const Clauses clauses = takeClauses(inTrigger);
    procedure_.triggers.push_back({std::string(name.text), name.place, clauses.source(), clauses.target()});
}

void Parser::parseVariable() {
    const Token name = takeName("the name of a variable");
    const ElementType type = takeTypeOfDeclaration();
    cursor_.takeMark('=', "`=` and a number");
    const Number value = valueOf(takeNumber(), type);
    cursor_.takeEnd();
    procedure_.variables.push_back({std::string(name.text), name.place, type, value});
}

void Parser::parseVector() {
    const Token name = takeName("the name of a vector");
    VectorDeclaration vector{std::string(name.text), name.place, takeTypeOfDeclaration(), {}, {}};
    if (cursor_.takeIf('=')) {
        vector.values = takeValues(vector.type);
        cursor_.takeEnd();
    } else if (cursor_.peek().kind != Kind::word) {
        cursor_.refuse("`= [ ... ]` or `from` and a file");
    } else {
        vector.from = takeClauses(inVector).source();
    }
    procedure_.vectors.push_back(std::move(vector));
}

void Parser::parseCommand(const Token& name) {
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

Argument Parser::parseArgument() {
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

Argument Parser::parseNumberArgument() {
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
void Parser::hideDeclaredNumbers() {
    if (!lineOfName_.contains("nan") && !lineOfName_.contains("inf")) return;
    for (CommandUse& use : procedure_.commands)
        for (Argument& argument : use.arguments)
            if (argument.kind == Argument::Kind::number && !argument.type && lineOfName_.contains(argument.text))
                argument.kind = Argument::Kind::word;
}

Token Parser::takeName(std::string_view wanted) {
    const Token name = cursor_.takeWord(wanted);
    const auto [declared, isNew] = lineOfName_.try_emplace(std::string(name.text), name.place.line);
    if (!isNew)
        cursor_.refuseAt(name.place, quoted(name.text) + " is declared at line " + std::to_string(declared->second),
                         "give this one another name");
    return name;
}

ElementType Parser::takeType() {
    const Token word = cursor_.takeWord("a type: int16, int32, float or double");
    if (const auto type = elementTypeNamed(word.text)) return *type;
    const std::string meant = suggestion(word.text, {"int16", "int32", "float", "double"});
    cursor_.refuseAt(word.place, "unknown type " + quoted(word.text),
                     meant.empty() ? "the types are int16, int32, float and double" : meant);
}

ElementType Parser::takeTypeOfDeclaration() {
    cursor_.takeMark(':', "`:` and a type");
    declaredType_ = takeType();
    return declaredType_;
}

bool Parser::atNumber() const {
    const Token& next = cursor_.peek();
    return next.kind == Kind::number || (next.kind == Kind::word && (next.text == "nan" || next.text == "inf"));
}

Token Parser::takeNumber() {
    if (!atNumber()) cursor_.refuse("a number");
    return cursor_.take();
}

Number Parser::valueOf(const Token& token) {
    std::optional<Number> number = parseNumber(token.text);
    if (!number) cursor_.refuseAt(token.place, whyNoNumber(token.text));
    number->place = token.place;
    return *number;
}

// A number that its type does not hold is reported, and the statement read on: others in it may be wrong as well.
Number Parser::valueOf(const Token& token, ElementType type) {
    const Number number = valueOf(token);
    if (!holds(type, number)) mistakes_.add(notHeld(type, number, token.text));
    return number;
}

std::int64_t Parser::takeCount(const std::string& clause) {
    const Token token = takeNumber();
    const Number number = valueOf(token);
    if (!number.isInteger || number.integer < 1)
        cursor_.refuseAt(token.place, quoted(clause) + " takes an integer from 1, not " + quoted(token.text));
    return number.integer;
}

std::vector<Number> Parser::takeValues(ElementType type) {
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

Clauses Parser::takeClauses(Declaration declaration) {
    Clauses clauses;
    while (cursor_.peek().kind != Kind::end) takeClauseWord(declaration, clauses).read(*this, clauses);
    checkPartners(clauses);
    return clauses;
}

const Parser::ClauseRow& Parser::takeClauseWord(Declaration declaration, Clauses& clauses) {
    std::string allowed = declaration == inPipe ? "a pipe" : declaration == inTrigger ? "a trigger" : "a vector";
    allowed += " takes";
    const std::vector<std::string> words = clauseWords(declaration);
    for (const std::string& word : words) allowed += (word == words.front() ? " " : ", ") + word;
    if (cursor_.peek().kind != Kind::word) cursor_.refuse("a clause or the end of the line", allowed);
    const Token token = cursor_.take();
    for (const ClauseRow& row : clauseRows) {
        if (row.word != token.text || (row.declarations & declaration) == 0) continue;
        if (!clauses.given.try_emplace(row.word, token.place).second)
            cursor_.refuseAt(token.place, quoted(token.text) + " is given twice", "give it once");
        return row;
    }
    const std::string meant = suggestion(token.text, words);
    cursor_.refuseAt(token.place, "unknown clause " + quoted(token.text), meant.empty() ? allowed : meant);
}

std::vector<std::string> Parser::clauseWords(Declaration declaration) {
    std::vector<std::string> words;
    for (const ClauseRow& row : clauseRows)
        if ((row.declarations & declaration) != 0) words.emplace_back(row.word);
    return words;
}

void Parser::checkPartners(const Clauses& clauses) {
    for (const ClauseRow& row : clauseRows) {
        const auto found = clauses.given.find(row.word);
        if (found == clauses.given.end()) continue;
        if (!row.needs.empty() && !clauses.given.contains(row.needs))
            cursor_.refuseAt(found->second, quoted(row.word) + " without " + quoted(row.needs) + " and a file");
        if (clauses.given.contains(row.excludes))
            cursor_.refuseAt(found->second, quoted(row.word) + " and " + quoted(row.excludes) + " exclude each other");
    }
}

void Parser::takeCapacity(Clauses& clauses) {
    clauses.capacityPlace = cursor_.peek().place;
    clauses.capacity = takeSize("capacity");
}

void Parser::takeFile(FileClause& file) {
    const Token& next = cursor_.peek();
    if (next.kind != Kind::text && !next.isMark('-')) cursor_.refuse("a file's name in double quotes, or `-`");
    const Token token = cursor_.take();
    file.path = token.kind == Kind::text ? unquoted(token.text) : std::string(token.text);
    file.place = token.place;
    if (file.path.empty()) cursor_.refuseAt(token.place, "the file's name is empty");
}

void Parser::takeColumn(Clauses& clauses) {
    if (cursor_.peek().kind == Kind::text)
        clauses.from.column = unquoted(cursor_.take().text);
    else if (atNumber())
        clauses.from.column = takeCount("column");
    else
        cursor_.refuse("a column's number, or its heading in double quotes");
}

Place placeOf(std::size_t offset, std::string_view text) {
    const std::string_view before = text.substr(0, offset);
    const std::size_t lineFeed = before.rfind('\n');
    const std::size_t firstLine = text.starts_with(byteOrderMark) ? byteOrderMark.size() : 0;
    const std::size_t lineStart = lineFeed == std::string_view::npos ? firstLine : lineFeed + 1;
    const auto lineFeeds = std::count(before.begin(), before.end(), '\n');
    return {static_cast<int>(lineFeeds) + 1, static_cast<int>(offset - lineStart) + 1, 1};
}

}  // namespace

Procedure parseProcedure(SourceText source, std::vector<Diagnostic>& diagnostics) {
    Procedure procedure;
    procedure.source = std::move(source);
    const std::string& text = procedure.source.text;
    Mistakes mistakes(diagnostics);
    if (text.size() > greatestText) {
        mistakes.add(Place{}, "a procedure of over 16 MiB", "is this a recording? it is named in a `from` clause");
        return procedure;
    }
    if (const std::size_t nul = text.find('\0'); nul != std::string::npos) {
        mistakes.add(placeOf(nul, text), "a NUL character", "a procedure is plain text in UTF-8");
        return procedure;
    }
    Parser(procedure, mistakes).parse();
    return procedure;
}

}  // namespace libzepl
