// What a signature string consists of.
#pragma once

#include <string_view>
#include <vector>

namespace libzepl {

// A word, a mark of one character, or the end, whose text is empty.
struct SignatureToken {
    std::string_view text;
    int offset = 0;

    bool isWord() const;
};

// The last is the end. A SignatureError for what no signature has.
std::vector<SignatureToken> signatureTokens(std::string_view text);

}  // namespace libzepl
