// The names of a procedure: where each is declared and used, also in statements that cannot be read yet.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "cli/lsp/statement_reader.h"

namespace cli::lsp {

struct Statement {
    std::size_t start = 0, end = 0;  // in the text, up to the last token
    std::size_t firstWord = 0, wordsEnd = 0;
};

struct Declaration {
    std::string_view kind;  // the statement's word
    std::string_view type;  // of the elements; empty where it has none
    std::size_t word = 0;   // its name
    std::size_t statement = 0;
    bool isArray = false;
};

class Names {
 public:
    // The text must stay where it is.
    explicit Names(std::string_view text);

    const std::vector<Statement>& statements() const { return statements_; }
    const std::vector<Word>& words() const { return words_; }
    const std::map<std::string_view, Declaration>& declared() const { return declared_; }
    const Declaration* find(std::string_view name) const;

    // The word that the byte is in, or just after; null where there is none.
    const Word* wordAt(std::size_t offset) const;
    std::size_t offsetOf(const Word& word) const { return static_cast<std::size_t>(word.text.data() - text_.data()); }
    const Statement& statementOf(const Word& word) const;
    // Where the same thing is named, its declaration first among it; empty for a word that names nothing declared.
    std::vector<const Word*> allOf(const Word& word) const;

 private:
    void declare(const StatementReader& reader, std::size_t firstWord);

    std::string_view text_;
    std::vector<Statement> statements_;
    std::vector<Word> words_;  // in the order of the text
    std::map<std::string_view, Declaration> declared_;
};

// What the text says up to `offset`, for what can come next: the statement that is open there, or a new one.
struct Context {
    StatementReader reader;
    bool isSilent = false;    // in a comment or a text
    bool startsLine = false;  // nothing is before it in its line
};
Context contextAt(std::string_view text, std::size_t offset);

}  // namespace cli::lsp
