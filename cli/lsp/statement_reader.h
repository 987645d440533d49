// What the words of a statement are by where they stand, and what can be written where it has been read up to. Unlike the
// parser it takes a statement as far as it goes, since an editor asks about those that are being written.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "runtime/words.h"

namespace cli::lsp {

enum class Role {
    statement,  // a declaration's first word
    command,
    declaration,  // the name that is declared
    use,          // of a name that is declared, or a word that a command knows
    series,       // the name that counts in a vector's formula: where it is introduced
    function,
    clause,
    type,
    other,  // a word that belongs to the language at its place only, such as a conversion's name
};

struct Word {
    Role role = Role::other;
    std::string_view text;
    libzepl::Place place;
};

// An argument of a command, as far as it can be told without looking up names.
struct ArgumentSketch {
    enum class Kind { none, name, number, text };  // a name can have an index; an expression is a number
    Kind kind = Kind::none;
    std::string_view text;
    bool isPoint = false;  // of a number: has a point or an exponent
    bool givesAll = false;
};

class StatementReader {
 public:
    using Token = libzepl::StatementToken;

    // What can come next.
    enum class Next {
        statement,  // the first word
        newName,
        arrayOrType,  // `[` or `:`
        type,
        operand,  // of an expression
        argument,
        column,  // of a table
        clause,
        lockstep,
        conversion,
        format,
        seconds,
        file,
        nothing,  // an operator, a bracket or the like, which nobody needs a list for
    };

    // Takes the next token of the statement.
    void take(const Token& token);
    // After the last token: words of the formula that its counting name stands for get that role.
    void finish();

    Next next() const;
    const std::vector<Word>& words() const { return words_; }
    std::string_view statement() const { return statement_; }  // or the command
    bool isDefinition() const { return isDefinition_; }
    bool isInLength() const { return isInLength_; }  // of a pipe, whose name comes next
    bool hasBrackets() const { return !brackets_.empty(); }
    // The clauses that were given; of a command, the arguments, the last of which is being written.
    const std::vector<std::string_view>& clauses() const { return clauses_; }
    const std::vector<ArgumentSketch>& arguments() const { return arguments_; }

 private:
    enum class Phase { first, name, afterName, type, afterType, expression, clauses, word, file, columns, arguments };

    void add(Role role, const Token& token) { words_.push_back({role, token.text, token.place}); }
    void expect(Phase phase, bool operand = true);
    void expectExpression(Phase after);
    void takeFirst(const Token& token);
    void takeAfterHead(const Token& token);
    void takeClause(const Token& token);
    void takeColumn(const Token& token);
    void takeInExpression(const Token& token);
    void takeWordInExpression(const Token& token);
    void takeMarkInExpression(const Token& token);
    void takeSeriesWord(const Token& token);
    void closeBracket();
    void sketchArgument(const Token& token);

    Phase phase_ = Phase::first;
    Phase after_ = Phase::clauses;  // where an expression or a bracket leads
    Next word_ = Next::nothing;     // what Phase::word wants
    std::string_view statement_;
    bool wantsOperand_ = false;
    bool wantsType_ = false;        // after `:` of an argument
    bool isInLength_ = false;       // after `length` and `(`
    bool wantsSeriesName_ = false;  // after `for`
    bool isDefinition_ = false;
    std::vector<char> brackets_;  // that are open
    std::vector<Word> words_;
    std::vector<std::string_view> clauses_;
    std::vector<ArgumentSketch> arguments_;
};

}  // namespace cli::lsp
