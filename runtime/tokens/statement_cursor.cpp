#include "runtime/tokens/statement_cursor.h"

#include <algorithm>
#include <utility>

namespace libzepl {

namespace {

using Kind = ProcedureToken::Kind;

}  // namespace

StatementCursor::StatementCursor(std::string_view text, Mistakes& mistakes, std::span<const std::string_view> functions)
    : mistakes_(mistakes),
      lexer_(text, mistakes),
      functions_(functions),
      next_(lexer_.next()),
      afterNext_(lexer_.next()) {}

void StatementCursor::leaveStatement() {
    while (!atStatementEnd()) advance();
    atStart_ = true;
    openBrackets_ = 0;
}

bool StatementCursor::startsLikeStatement() const {
    if (next_.kind != Kind::word || afterNext_.startsLine) return false;
    if (afterNext_.isMark('(')) return std::find(functions_.begin(), functions_.end(), next_.text) == functions_.end();
    const bool opensDeclaration =
        std::find(declarationWords.begin(), declarationWords.end(), next_.text) != declarationWords.end();
    return opensDeclaration && (afterNext_.kind == Kind::word || afterNext_.kind == Kind::number ||
                                (afterNext_.kind == Kind::text && next_.text == "table"));
}

bool StatementCursor::atStatementEnd() const {
    if (!hasStatement()) return true;
    if (atStart_ || !next_.startsLine) return false;
    return openBrackets_ == 0 || startsLikeStatement();
}

void StatementCursor::advance() {
    if (next_.isMark('(') || next_.isMark('[')) {
        if (openBrackets_++ == 0) outermost_ = next_;
    } else if (next_.isMark(')') || next_.isMark(']')) {
        openBrackets_ = std::max(0, openBrackets_ - 1);
    }
    afterLast_ = {next_.place.line, next_.place.column + next_.place.length, 1};
    endOfLast_ = next_.text.data() + next_.text.size();
    atStart_ = false;
    next_ = std::exchange(afterNext_, lexer_.next());
}

const ProcedureToken& StatementCursor::peek() const {
    static const ProcedureToken statementEnd;
    if (atStatementEnd()) return statementEnd;
    if (next_.kind == Kind::bad) throw StatementBroken();
    return next_;
}

ProcedureToken StatementCursor::take() {
    const ProcedureToken token = peek();
    advance();
    return token;
}

bool StatementCursor::takeIf(char mark) { return takeIf(std::string_view(&mark, 1)); }

bool StatementCursor::takeIf(std::string_view mark) {
    if (!peek().isMark(mark)) return false;
    advance();
    return true;
}

ProcedureToken StatementCursor::takeWord(std::string_view wanted) {
    if (peek().kind != Kind::word) refuse(wanted);
    return take();
}

void StatementCursor::takeMark(char mark, std::string_view wanted) {
    if (!takeIf(mark)) refuse(wanted);
}

void StatementCursor::takeEnd() {
    if (peek().kind != Kind::end) refuse("the end of the line", "write one statement a line");
}

std::string_view StatementCursor::writtenSince(const ProcedureToken& first) const {
    const std::string_view written(first.text.data(), static_cast<std::size_t>(endOfLast_ - first.text.data()));
    return written.substr(0, written.find_first_of("\r\n"));
}

Place StatementCursor::placeSince(const ProcedureToken& first) const {
    return {first.place.line, first.place.column, static_cast<int>(writtenSince(first).size())};
}

void StatementCursor::refuse(std::string_view wanted, std::string remedy) const {
    const ProcedureToken& given = peek();
    if (given.kind != Kind::end)
        refuseAt(given.place, "expected " + std::string(wanted) + ", not " + quoted(given.text), std::move(remedy));
    if (openBrackets_ > 0)
        refuseAt(outermost_.place, quoted(outermost_.text) + " is not closed",
                 outermost_.isMark('(') ? "close it with `)`" : "close it with `]`");
    refuseAt(afterLast_, "expected " + std::string(wanted) + ", but the line ends here", std::move(remedy));
}

void StatementCursor::refuseAt(const Place& place, std::string message, std::string remedy) const {
    mistakes_.add(place, std::move(message), std::move(remedy));
    throw StatementBroken();
}

}  // namespace libzepl
