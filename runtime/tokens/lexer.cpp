#include "runtime/tokens/lexer.h"

#include <algorithm>
#include <utility>

namespace libzepl {

namespace {

using Kind = ProcedureToken::Kind;

constexpr std::string_view marks = "()[],:=+-*/%^<>";
constexpr std::string_view marksBeforeEqual = "<>=!";

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool startsWord(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_'; }
bool continuesWord(char c) { return startsWord(c) || isDigit(c); }
bool isControl(char c) { return (static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7F; }
bool isBeyondAscii(char c) { return static_cast<unsigned char>(c) >= 0x80; }

}  // namespace

void Mistakes::add(const Place& place, std::string message, std::string remedy) {
    add(Diagnostic{Severity::error, place, std::move(message), std::move(remedy)});
}

void Mistakes::add(Diagnostic diagnostic) {
    if (full()) return;
    if (++count_ > maxDiagnostics) {
        diagnostic.message = "too many mistakes: the rest has not been read";
        diagnostic.remedy.clear();
    }
    to_.push_back(std::move(diagnostic));
}

ProcedureLexer::ProcedureLexer(std::string_view text, Mistakes& mistakes) : text_(text), mistakes_(mistakes) {
    if (text.starts_with(byteOrderMark)) at_ = lineStart_ = byteOrderMark.size();
}

Place ProcedureLexer::placeFrom(std::size_t start) const {
    return {line_, static_cast<int>(start - lineStart_) + 1, std::max(1, static_cast<int>(at_ - start))};
}

// A carriage return belongs to the line feed after it; after the last line it may be alone.
bool ProcedureLexer::atLineEnd() const {
    const std::size_t offset = at(0) == '\r' ? 1 : 0;
    return at_ + offset >= text_.size() || at(offset) == '\n';
}

ProcedureToken ProcedureLexer::next() {
    skipToToken();
    ProcedureToken token;
    const std::size_t start = at_;
    token.startsLine = std::exchange(startsLine_, false);
    if (at_ < text_.size()) token.kind = readToken();
    token.text = text_.substr(start, at_ - start);
    token.place = placeFrom(start);
    return token;
}

void ProcedureLexer::skipToToken() {
    for (; at_ < text_.size(); ++at_) {
        if (at(0) == '#') skipComment();
        if (at(0) == '\n') {
            ++line_;
            lineStart_ = at_ + 1;
            startsLine_ = true;
        } else if (at(0) != ' ' && at(0) != '\t' && !atLineEnd()) {
            return;
        }
    }
    at_ = text_.size();
}

void ProcedureLexer::skipComment() {
    while (!atLineEnd()) {
        if (isControl(at(0)))
            reportCharacters();
        else
            ++at_;
    }
}

ProcedureToken::Kind ProcedureLexer::readToken() {
    if (startsWord(at(0))) {
        while (continuesWord(at(0))) ++at_;
        return Kind::word;
    }
    if (atNumber()) {
        skipNumber();
        return Kind::number;
    }
    if (at(0) == '"') return readText();
    const std::size_t length = lengthOfMark();
    if (length == 0) {
        reportCharacters();
        return Kind::bad;
    }
    at_ += length;
    return Kind::mark;
}

std::size_t ProcedureLexer::lengthOfMark() const {
    if (at(0) == '.' && at(1) == '.') return at(2) == '.' ? 3 : 2;
    if (at(1) == '=' && marksBeforeEqual.find(at(0)) != std::string_view::npos) return 2;
    return marks.find(at(0)) != std::string_view::npos ? 1 : 0;
}

bool ProcedureLexer::atNumber() const { return isDigit(at(0)) || (at(0) == '.' && isDigit(at(1))); }

// All that someone may have meant as part of the number, so that a malformed one is reported whole; two points end it.
void ProcedureLexer::skipNumber() {
    const bool isHexadecimal = at(0) == '0' && (at(1) == 'x' || at(1) == 'X');
    while (continuesWord(at(0)) || (at(0) == '.' && at(1) != '.')) {
        const bool isExponent = !isHexadecimal && (at(0) == 'e' || at(0) == 'E');
        ++at_;
        if (isExponent && (at(0) == '+' || at(0) == '-')) ++at_;
    }
}

ProcedureToken::Kind ProcedureLexer::readText() {
    const std::size_t start = at_++;
    bool isGood = true;
    while (at(0) != '"') {
        if (atLineEnd()) {
            mistakes_.add(placeFrom(start), "the text is not closed", "close it with a double quote");
            return Kind::bad;
        }
        if (at(0) == '\\') {
            isGood = readEscape() && isGood;
        } else if (isControl(at(0))) {
            reportCharacters();
            isGood = false;
        } else {
            ++at_;
        }
    }
    ++at_;
    return isGood ? Kind::text : Kind::bad;
}

bool ProcedureLexer::readEscape() {
    const std::size_t start = at_++;
    if (atLineEnd()) return true;
    const bool isKnown = std::string_view("\"\\nt").find(at(0)) != std::string_view::npos;
    ++at_;
    if (!isKnown)
        mistakes_.add(placeFrom(start), "unknown escape " + quoted(text_.substr(start, 2)),
                      "a text takes `\\\"`, `\\\\`, `\\n` and `\\t`; a backslash itself is written `\\\\`");
    return isKnown;
}

void ProcedureLexer::reportCharacters() {
    const std::size_t start = at_;
    std::string remedy;
    if (isControl(at(0))) {
        while (at_ < text_.size() && isControl(at(0)) && !atLineEnd()) ++at_;
        remedy = "a procedure is plain text";
    } else if (isBeyondAscii(at(0))) {
        while (isBeyondAscii(at(0))) ++at_;
        remedy = "names have letters from A to Z, digits and `_`; texts are written in double quotes";
    } else {
        if (at(0) == '\'') remedy = "texts are written in double quotes";
        ++at_;
    }
    if (std::exchange(reportedLine_, line_) == line_) return;
    mistakes_.add(placeFrom(start), quoted(text_.substr(start, at_ - start)) + " cannot be here", remedy);
}

std::string unquoted(std::string_view text) {
    std::string result;
    for (std::size_t i = 1; i + 1 < text.size(); ++i) {
        if (text[i] == '\\') {
            ++i;
            result += text[i] == 'n' ? '\n' : text[i] == 't' ? '\t' : text[i];
        } else {
            result += text[i];
        }
    }
    return result;
}

}  // namespace libzepl
