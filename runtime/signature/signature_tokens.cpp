#include "runtime/signature/signature_tokens.h"

#include "runtime/signature.h"

namespace libzepl {

namespace {

// The language is ASCII whatever the locale.
bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
bool isWordCharacter(char c) { return isLetter(c) || (c >= '0' && c <= '9'); }
bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

}  // namespace

bool SignatureToken::isWord() const { return !text.empty() && isLetter(text.front()); }

std::vector<SignatureToken> signatureTokens(std::string_view text) {
    std::vector<SignatureToken> tokens;
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

}  // namespace libzepl
