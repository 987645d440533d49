#include "cli/lsp/names.h"

#include <algorithm>
#include <utility>

namespace cli::lsp {

using libzepl::StatementToken;

namespace {

StatementReader readStatement(const std::vector<StatementToken>& tokens) {
    StatementReader reader;
    for (const StatementToken& token : tokens) reader.take(token);
    reader.finish();
    return reader;
}

// Whether the end of the line is in a comment, or in a text that is not closed.
bool endsSilent(std::string_view line) {
    bool inText = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '#' && !inText) return true;
        if (line[i] == '\\' && inText)
            ++i;
        else if (line[i] == '"')
            inText = !inText;
    }
    return inText;
}

}  // namespace

Names::Names(std::string_view text) : text_(text) {
    for (const std::vector<StatementToken>& tokens : libzepl::statementsIn(text)) {
        const StatementReader reader = readStatement(tokens);
        if (reader.words().empty()) continue;
        const std::size_t firstWord = words_.size();
        words_.insert(words_.end(), reader.words().begin(), reader.words().end());
        declare(reader, firstWord);
        const std::string_view last = tokens.back().text;
        const auto end = static_cast<std::size_t>(last.data() + last.size() - text.data());
        statements_.push_back({offsetOf(words_[firstWord]), end, firstWord, words_.size()});
    }
}

void Names::declare(const StatementReader& reader, std::size_t firstWord) {
    Declaration declaration{.kind = reader.statement(), .type = {}, .statement = statements_.size()};
    bool isThere = false;
    for (std::size_t i = firstWord; i < words_.size(); ++i) {
        if (words_[i].role == Role::type && declaration.type.empty()) declaration.type = words_[i].text;
        if (words_[i].role != Role::declaration) continue;
        isThere = true;
        declaration.word = i;
        const std::size_t end = offsetOf(words_[i]) + words_[i].text.size();
        const std::size_t next = text_.find_first_not_of(" \t", end);
        declaration.isArray = next != std::string_view::npos && text_[next] == '[';
    }
    if (isThere) declared_.emplace(words_[declaration.word].text, declaration);
}

const Declaration* Names::find(std::string_view name) const {
    const auto found = declared_.find(name);
    return found == declared_.end() ? nullptr : &found->second;
}

const Word* Names::wordAt(std::size_t offset) const {
    const auto after =
        std::partition_point(words_.begin(), words_.end(), [&](const Word& word) { return offsetOf(word) <= offset; });
    if (after == words_.begin()) return nullptr;
    const Word& word = *(after - 1);
    return offset <= offsetOf(word) + word.text.size() ? &word : nullptr;
}

const Statement& Names::statementOf(const Word& word) const {
    const auto index = static_cast<std::size_t>(&word - words_.data());
    return *std::partition_point(statements_.begin(), statements_.end(),
                                 [&](const Statement& statement) { return statement.wordsEnd <= index; });
}

std::vector<const Word*> Names::allOf(const Word& word) const {
    std::vector<const Word*> all;
    const auto add = [&](std::size_t first, std::size_t end, auto isWanted) {
        for (std::size_t i = first; i < end; ++i)
            if (words_[i].text == word.text && isWanted(words_[i].role)) all.push_back(&words_[i]);
    };
    if (word.role == Role::series) {
        const Statement& statement = statementOf(word);
        add(statement.firstWord, statement.wordsEnd, [](Role role) { return role == Role::series; });
        return all;
    }
    const bool isName = word.role == Role::use || word.role == Role::declaration;
    const Declaration* declaration = find(word.text);
    if (!isName || declaration == nullptr) return all;
    all.push_back(&words_[declaration->word]);
    add(0, words_.size(), [](Role role) { return role == Role::use || role == Role::declaration; });
    all.erase(std::find(all.begin() + 1, all.end(), all.front()));
    return all;
}

Context contextAt(std::string_view text, std::size_t offset) {
    const std::string_view before = text.substr(0, offset);
    const std::string_view line = before.substr(before.rfind('\n') + 1);  // npos + 1 is 0
    Context context;
    context.startsLine = line.find_first_not_of(" \t\r") == std::string_view::npos;
    context.isSilent = endsSilent(line);
    const std::vector<std::vector<StatementToken>> statements = libzepl::statementsIn(before);
    if (!statements.empty()) context.reader = readStatement(statements.back());
    // A statement ends with its line unless a bracket is open.
    if (context.startsLine && !context.reader.hasBrackets()) context.reader = StatementReader();
    return context;
}

}  // namespace cli::lsp
