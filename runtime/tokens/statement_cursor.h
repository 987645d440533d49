// The division of a procedure into statements, with what all of them need to be read.
#pragma once

#include <array>
#include <span>
#include <string>
#include <string_view>

#include "runtime/tokens/lexer.h"

namespace libzepl {

// The words that open a declaration. They are words by position only: any of them can name a pipe.
inline constexpr std::array<std::string_view, 8> declarationWords{"rate",    "feed",     "constant", "pipe",
                                                                  "trigger", "variable", "vector",   "table"};

// Thrown to leave a statement that cannot be read, when its mistake has been added.
struct StatementBroken {};

// Goes through the tokens of a procedure statement by statement. A statement continues over line ends while a bracket is
// open, but not over a line that starts like a statement: there the bracket was left open. A call of one of `functions`
// starts none.
class StatementCursor {
 public:
    StatementCursor(std::string_view text, Mistakes& mistakes, std::span<const std::string_view> functions);

    bool hasStatement() const { return next_.kind != ProcedureToken::Kind::end; }
    // Passes over the rest of the statement, to the start of the next one.
    void leaveStatement();

    // The next token of the statement; Kind::end where it is over. Throws StatementBroken at a bad one.
    const ProcedureToken& peek() const;
    ProcedureToken take();
    bool takeIf(char mark);
    bool takeIf(std::string_view mark);
    // Take what must be here, or refuse what does; `wanted` is what the message calls it.
    ProcedureToken takeWord(std::string_view wanted);
    void takeMark(char mark, std::string_view wanted);
    void takeEnd();

    // What is written from `first`, a token that was taken, to the last one that was, and its place: where it goes over the
    // end of a line, up to there.
    std::string_view writtenSince(const ProcedureToken& first) const;
    Place placeSince(const ProcedureToken& first) const;

    // Adds the mistake that something else than `wanted` is here, and leaves the statement.
    [[noreturn]] void refuse(std::string_view wanted, std::string remedy = {}) const;
    // Adds a mistake at the place and leaves the statement.
    [[noreturn]] void refuseAt(const Place& place, std::string message, std::string remedy = {}) const;

 private:
    bool startsLikeStatement() const;
    bool atStatementEnd() const;
    void advance();

    Mistakes& mistakes_;
    ProcedureLexer lexer_;
    std::span<const std::string_view> functions_;
    ProcedureToken next_, afterNext_;
    bool atStart_ = true;       // whether nothing of the statement has been taken
    int openBrackets_ = 0;      // of the statement, up to `next_`
    ProcedureToken outermost_;  // the bracket that was opened first
    Place afterLast_;           // after the last token that was taken
    const char* endOfLast_ = nullptr;
};

}  // namespace libzepl
