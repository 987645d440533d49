#include "runtime/words.h"

#include "runtime/expressions/expression.h"
#include "runtime/procedure/parser.h"
#include "runtime/tokens/statement_cursor.h"

namespace libzepl {

namespace {

using Kind = ProcedureToken::Kind;

StatementToken::Kind kindOf(Kind kind) {
    switch (kind) {
        case Kind::word:
            return StatementToken::Kind::word;
        case Kind::number:
            return StatementToken::Kind::number;
        case Kind::text:
            return StatementToken::Kind::text;
        default:
            return StatementToken::Kind::mark;
    }
}

std::vector<StatementToken> takeStatement(StatementCursor& cursor) {
    std::vector<StatementToken> tokens;
    try {
        while (cursor.peek().kind != Kind::end) {
            const ProcedureToken token = cursor.take();
            if (token.isMark('(') && !tokens.empty())
                tokens.back().isCalled = tokens.back().kind == StatementToken::Kind::word;
            tokens.push_back({kindOf(token.kind), token.text, token.place});
        }
    } catch (const StatementBroken&) {
        // What comes after it is passed over.
    }
    cursor.leaveStatement();
    return tokens;
}

}  // namespace

std::vector<std::vector<StatementToken>> statementsIn(std::string_view text) {
    std::vector<Diagnostic> ignored;
    Mistakes mistakes(ignored);
    StatementCursor cursor(text, mistakes, functionNames());
    std::vector<std::vector<StatementToken>> statements;
    while (cursor.hasStatement()) statements.push_back(takeStatement(cursor));
    return statements;
}

std::vector<std::string> declarationNames() { return {declarationWords.begin(), declarationWords.end()}; }

std::vector<std::string> clausesOf(std::string_view declaration, bool isDefinition) {
    if (isDefinition) return ProcedureParser::clauseWords(inDefinition);
    if (declaration == "pipe") return ProcedureParser::clauseWords(inPipe);
    if (declaration == "trigger") return ProcedureParser::clauseWords(inTrigger);
    if (declaration == "vector") return ProcedureParser::clauseWords(inVector);
    if (declaration == "table") return ProcedureParser::clauseWords(inTable);
    return {};
}

std::vector<std::string> functionsOfExpressions() { return {functionNames().begin(), functionNames().end()}; }

}  // namespace libzepl
