// The words, numbers, texts and marks of a procedure.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/diagnostics.h"

namespace libzepl {

// Takes errors up to a bound, past which nobody reads them.
class Mistakes {
 public:
    explicit Mistakes(std::vector<Diagnostic>& to) : to_(to) {}
    void add(const Place& place, std::string message, std::string remedy = {});
    void add(Diagnostic diagnostic);
    bool full() const { return count_ > maxDiagnostics; }

 private:
    std::vector<Diagnostic>& to_;
    std::size_t count_ = 0;
};

struct ProcedureToken {
    enum class Kind {
        word,
        number,  // what starts like a number, without a sign; it may still be malformed
        text,    // with its quotes
        mark,    // one of ( ) [ ] , : = + - * / % ^ < > <= >= == != .. ...
        bad,     // what is no token; the mistake has been added
        end,     // the end of the procedure, or of the statement
    };
    Kind kind = Kind::end;
    std::string_view text;  // as written
    Place place;
    bool startsLine = false;  // whether it is the first of its line

    bool isMark(char mark) const { return kind == Kind::mark && text.size() == 1 && text[0] == mark; }
    bool isMark(std::string_view mark) const { return kind == Kind::mark && text == mark; }
};

// Reads the tokens of a text one by one; blanks, comments and line ends are passed over.
class ProcedureLexer {
 public:
    ProcedureLexer(std::string_view text, Mistakes& mistakes);
    ProcedureToken next();

 private:
    void skipToToken();
    void skipComment();
    ProcedureToken::Kind readToken();
    void skipNumber();
    ProcedureToken::Kind readText();
    bool readEscape();
    void reportCharacters();
    bool atNumber() const;
    std::size_t lengthOfMark() const;  // 0 where none is
    bool atLineEnd() const;
    char at(std::size_t offset) const { return at_ + offset < text_.size() ? text_[at_ + offset] : '\0'; }
    Place placeFrom(std::size_t start) const;

    std::string_view text_;
    Mistakes& mistakes_;
    std::size_t at_ = 0;
    std::size_t lineStart_ = 0;
    int line_ = 1;
    bool startsLine_ = true;
    int reportedLine_ = 0;  // the last one whose characters were reported: one report for each line is enough
};

// The text between the quotes, with its escapes resolved.
std::string unquoted(std::string_view text);

}  // namespace libzepl
