#include "cli/lsp/statement_reader.h"

#include <algorithm>

#include "runtime/number.h"

namespace cli::lsp {

namespace {

using Token = libzepl::StatementToken;
using Kind = Token::Kind;

bool opensBracket(const Token& token) { return token.isMark("(") || token.isMark("["); }
bool closesBracket(const Token& token) { return token.isMark(")") || token.isMark("]"); }

}  // namespace

void StatementReader::expect(Phase phase, bool operand) {
    phase_ = phase;
    wantsOperand_ = operand;
}

void StatementReader::expectExpression(Phase after) {
    after_ = after;
    expect(Phase::expression);
}

void StatementReader::take(const Token& token) {
    switch (phase_) {
        case Phase::first:
            return takeFirst(token);
        case Phase::name:
            if (token.kind == Kind::word) add(Role::declaration, token);
            return expect(Phase::afterName);
        case Phase::afterName:
        case Phase::afterType:
            return takeAfterHead(token);
        case Phase::type:
            if (token.kind == Kind::word) add(Role::type, token);
            return expect(Phase::afterType);
        case Phase::clauses:
            return takeClause(token);
        case Phase::word:
            if (token.kind == Kind::word) add(Role::other, token);
            return expect(Phase::clauses);
        case Phase::file:
            return expect(statement_ == "table" && clauses_.empty() ? Phase::afterName : Phase::clauses);
        case Phase::columns:
            return takeColumn(token);
        default:
            return takeInExpression(token);
    }
}

void StatementReader::takeFirst(const Token& token) {
    statement_ = token.text;
    if (token.isCalled) {
        add(Role::command, token);
        return expect(Phase::arguments);
    }
    static const std::vector<std::string> words = libzepl::declarationNames();
    if (std::find(words.begin(), words.end(), token.text) == words.end()) {
        if (token.kind == Kind::word) add(Role::other, token);
        return expect(Phase::clauses);
    }
    add(Role::statement, token);
    word_ = Next::lockstep;
    if (token.text == "rate")
        expectExpression(Phase::clauses);
    else
        expect(token.text == "feed" ? Phase::word : token.text == "table" ? Phase::file : Phase::name);
}

// After a declaration's name or type: the count of an array, the type, what it is computed from, or clauses.
void StatementReader::takeAfterHead(const Token& token) {
    if (token.isMark("[")) {
        expectExpression(Phase::afterName);
        brackets_.push_back('[');
    } else if (token.isMark(":")) {
        expect(statement_ == "table" ? Phase::columns : Phase::type);
    } else if (token.isMark("=")) {
        isDefinition_ = statement_ == "pipe";
        expectExpression(Phase::clauses);
    } else {
        expect(Phase::clauses);
        takeClause(token);
    }
}

void StatementReader::takeClause(const Token& token) {
    if (token.kind != Kind::word) return;
    add(Role::clause, token);
    clauses_.push_back(token.text);
    if (token.text == "from" || token.text == "to") return expect(Phase::file);
    if (token.text == "partial" || token.text == "fill") return expect(Phase::clauses);
    const bool takesWord = token.text == "convert" || token.text == "format" || token.text == "with";
    if (!takesWord) return expectExpression(Phase::clauses);
    word_ = token.text == "convert" ? Next::conversion : token.text == "format" ? Next::format : Next::seconds;
    expect(Phase::word);
}

void StatementReader::takeColumn(const Token& token) {
    if (token.isMark("[")) {
        expectExpression(Phase::columns);
        brackets_.push_back('[');
    } else if (token.isMark(",")) {
        wantsOperand_ = true;
    } else if (token.kind == Kind::word && wantsOperand_) {
        add(Role::use, token);
        wantsOperand_ = false;
    } else if (token.isWord("every")) {
        add(Role::clause, token);
        expectExpression(Phase::columns);
    } else {
        expect(Phase::clauses);
        takeClause(token);
    }
}

void StatementReader::takeInExpression(const Token& token) {
    if (phase_ == Phase::arguments) sketchArgument(token);
    isInLength_ = token.isCalled ? token.isWord("length") : isInLength_ && token.isMark("(");
    if (token.kind == Kind::word) return takeWordInExpression(token);
    if (token.kind == Kind::mark) return takeMarkInExpression(token);
    wantsOperand_ = false;
}

void StatementReader::takeWordInExpression(const Token& token) {
    if (wantsType_) {
        add(Role::type, token);
        wantsType_ = false;
    } else if (wantsSeriesName_) {
        add(Role::series, token);
        wantsSeriesName_ = false;
    } else if (wantsOperand_) {
        add(token.isCalled ? Role::function : Role::use, token);
        wantsOperand_ = false;
    } else if (!brackets_.empty()) {
        takeSeriesWord(token);
    } else if (phase_ == Phase::expression) {
        expect(after_, false);
        after_ == Phase::columns ? takeColumn(token) : takeClause(token);
    }
}

void StatementReader::takeSeriesWord(const Token& token) {
    add(Role::other, token);
    wantsSeriesName_ = token.text == "for";
    wantsOperand_ = token.text == "to";
}

void StatementReader::takeMarkInExpression(const Token& token) {
    if (phase_ == Phase::expression && after_ == Phase::columns && brackets_.empty() && token.isMark(","))
        return expect(Phase::columns);
    if (closesBracket(token)) return closeBracket();
    if (token.isMark("...")) return;
    wantsType_ = token.isMark(":");
    wantsOperand_ = !wantsType_;
    if (!opensBracket(token)) return;
    if (phase_ == Phase::arguments && brackets_.empty()) arguments_.emplace_back();
    brackets_.push_back(token.text[0]);
}

void StatementReader::closeBracket() {
    if (!brackets_.empty()) brackets_.pop_back();
    wantsOperand_ = false;
    wantsType_ = false;
    if (phase_ == Phase::expression && brackets_.empty() && after_ != Phase::clauses) expect(after_, false);
}

void StatementReader::sketchArgument(const Token& token) {
    if (brackets_.size() != 1 || closesBracket(token) || wantsType_) return;
    if (token.isMark(",")) {
        arguments_.emplace_back();
        return;
    }
    using Sketch = ArgumentSketch;
    Sketch& argument = arguments_.back();
    const bool isFirst = argument.kind == Sketch::Kind::none;
    if (isFirst) argument.text = token.text;
    if (token.kind == Kind::number) {
        const auto number = libzepl::parseNumber(token.text);
        argument.isPoint = argument.isPoint || (number && !number->isInteger);
    }
    if (isFirst && token.kind == Kind::word && !token.isCalled)
        argument.kind = Sketch::Kind::name;
    else if (isFirst && token.kind == Kind::text)
        argument.kind = Sketch::Kind::text;
    else if (token.isMark("..."))
        argument.givesAll = true;
    else if (!token.isMark("[") && !token.isMark(":"))
        argument.kind = Sketch::Kind::number;
}

void StatementReader::finish() {
    const auto counts =
        std::find_if(words_.begin(), words_.end(), [](const Word& word) { return word.role == Role::series; });
    if (counts == words_.end()) return;
    for (auto word = counts; word-- != words_.begin() && word->role != Role::type;)
        if (word->role == Role::use && word->text == counts->text) word->role = Role::series;
}

StatementReader::Next StatementReader::next() const {
    switch (phase_) {
        case Phase::first:
            return Next::statement;
        case Phase::name:
            return Next::newName;
        case Phase::afterName:
            return statement_ == "trigger" ? Next::clause : Next::arrayOrType;
        case Phase::type:
            return Next::type;
        case Phase::afterType:
        case Phase::clauses:
            return Next::clause;
        case Phase::word:
            return word_;
        case Phase::file:
            return Next::file;
        case Phase::columns:
            return wantsOperand_ ? Next::column : Next::clause;
        default:
            break;
    }
    if (wantsType_) return Next::type;
    if (wantsSeriesName_) return Next::newName;
    if (wantsOperand_) {
        const bool isNew =
            phase_ == Phase::arguments && brackets_.size() == 1 && arguments_.back().kind == ArgumentSketch::Kind::none;
        const bool isOpen = phase_ == Phase::expression || !brackets_.empty();
        return isNew ? Next::argument : isOpen ? Next::operand : Next::nothing;
    }
    return phase_ == Phase::expression && brackets_.empty() ? Next::clause : Next::nothing;
}

}  // namespace cli::lsp
