#include "events/toggwt_format.h"

#include <cstring>

namespace zcmds {

namespace {

// Steps over blanks that a word follows; those at the end stay, as something left over.
const char* afterBlanks(const char* at) {
    const char* const word = at + std::strspn(at, " ");
    return *word == '\0' ? at : word;
}

// Steps over the word if it is next. It need not end there: "BLOCKSSINGLE" is two words.
bool takeWord(const char*& at, const char* word) {
    const char* const from = afterBlanks(at);
    const std::size_t length = std::strlen(word);
    if (std::strncmp(from, word, length) != 0) return false;
    at = from + length;
    return true;
}

char upperCase(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

}  // namespace

bool parseGateFormat(const char* text, GateFormat& format) {
    char words[64] = {};
    for (std::size_t i = 0; i < sizeof words - 1 && text[i] != '\0'; ++i) words[i] = upperCase(text[i]);
    const char* at = words;
    format.blocks = format.stamped = format.spanned = 0;
    if (!takeWord(at, "FORMAT") || !takeWord(at, "=")) return false;
    if (takeWord(at, "STREAM")) return *at == '\0';
    format.blocks = format.spanned = 1;
    if (!takeWord(at, "BLOCKS")) return false;
    if (takeWord(at, "STAMPED")) {
        format.stamped = 1;
        if (*at == '\0') return true;
    }
    // After BLOCKS alone one of the two is needed, although SPANNED is what STAMPED alone means.
    if (takeWord(at, "SINGLE"))
        format.spanned = 0;
    else if (!takeWord(at, "SPANNED"))
        return false;
    if (format.stamped == 0 && takeWord(at, "STAMPED")) format.stamped = 1;
    return *at == '\0';
}

}  // namespace zcmds
