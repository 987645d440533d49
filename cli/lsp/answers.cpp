#include "cli/lsp/answers.h"

namespace cli::lsp {

using namespace libzepl;

namespace {

// The protocol's numbers of severities, and of symbols' kinds.
enum ShownSeverity { error = 1, warning = 2, information = 3 };
enum SymbolKind { module = 2, file = 1, variable = 13, constant = 14, vector = 18, function = 12, event = 24 };

Json asJson(const Position& position) { return {{"line", position.line}, {"character", position.character}}; }

ShownSeverity shown(Severity severity) {
    switch (severity) {
        case Severity::error:
            return error;
        case Severity::arrival:
            return information;
        default:
            return warning;
    }
}

Json diagnosticOf(const Range& range, ShownSeverity severity, const std::string& message) {
    return {{"range", asJson(range)}, {"severity", severity}, {"source", "zepl"}, {"message", message}};
}

SymbolKind kindOf(std::string_view statement) {
    return statement == "pipe"       ? module
           : statement == "trigger"  ? event
           : statement == "variable" ? variable
           : statement == "vector"   ? vector
           : statement == "constant" ? constant
                                     : file;
}

struct Symbol {
    std::string name, detail;
    SymbolKind kind = file;
    Range range, name_;  // of the statement, and of the name in it
};

// What a statement declares, or the command that it uses; a table is called by its file.
Symbol symbolOf(const Statement& statement, const Outline& outline, const Text& text) {
    const std::vector<Word>& words = outline.names.words();
    const Word& first = words[statement.firstWord];
    Symbol symbol;
    symbol.range = text.rangeOf(statement.start, statement.end);
    const auto name = [&](const Word& word, SymbolKind kind) {
        const std::size_t start = outline.names.offsetOf(word);
        symbol.name = word.text;
        symbol.kind = kind;
        symbol.name_ = text.rangeOf(start, start + word.text.size());
    };
    if (first.role == Role::command) name(first, function);
    if (first.role == Role::statement && first.text == "table") {
        const std::string& bytes = outline.procedure.source.text;
        const std::size_t quote = bytes.find('"', statement.start), end = bytes.find_first_of("\"\r\n", quote + 1);
        name(first, file);
        if (quote < statement.end && end < statement.end) symbol.name = bytes.substr(quote + 1, end - quote - 1);
        if (symbol.name.empty()) symbol.name = first.text;
    }
    for (std::size_t i = statement.firstWord; i < statement.wordsEnd; ++i) {
        if (words[i].role == Role::declaration) name(words[i], kindOf(first.text));
        if (words[i].role == Role::type && symbol.detail.empty()) symbol.detail = words[i].text;
    }
    return symbol;
}

}  // namespace

Json asJson(const Range& range) { return {{"start", asJson(range.start)}, {"end", asJson(range.end)}}; }

Json diagnosticsOf(const CheckResult& result, const Text& text) {
    Json all = Json::array();
    for (const Diagnostic& each : result.found) {
        const std::string message = each.remedy.empty() ? each.message : each.message + "\n" + each.remedy;
        all.push_back(diagnosticOf(text.rangeOf(each.place), shown(each.severity), message));
    }
    for (const std::string& note : result.notes) all.push_back(diagnosticOf({}, information, "note: " + note));
    return all;
}

Json hoverOf(const Hover& hover, const Text& text, const ClientAbilities& client) {
    return {{"contents", {{"kind", client.markdown ? "markdown" : "plaintext"}, {"value", hover.markdown}}},
            {"range", asJson(text.rangeOf(hover.start, hover.end))}};
}

Json completionOf(const std::vector<Candidate>& candidates, const ClientAbilities& client) {
    Json items = Json::array();
    for (const Candidate& each : candidates) {
        Json item{{"label", each.label}, {"kind", static_cast<int>(each.kind)}};
        if (!each.detail.empty()) item["detail"] = each.detail;
        item["sortText"] = (each.isFirst ? "0" : "1") + each.label;
        if (client.snippets && !each.snippet.empty()) {
            constexpr int snippetFormat = 2;
            item["insertText"] = each.snippet;
            item["insertTextFormat"] = snippetFormat;
        }
        items.push_back(std::move(item));
    }
    return {{"isIncomplete", false}, {"items", std::move(items)}};
}

Json symbolsOf(const std::string& uri, const Outline& outline, const Text& text, const ClientAbilities& client) {
    Json all = Json::array();
    for (const Statement& statement : outline.names.statements()) {
        const Symbol symbol = symbolOf(statement, outline, text);
        if (symbol.name.empty()) continue;
        Json json{{"name", symbol.name}, {"kind", symbol.kind}};
        if (client.nestedSymbols) {
            json["range"] = asJson(symbol.range);
            json["selectionRange"] = asJson(symbol.name_);
            if (!symbol.detail.empty()) json["detail"] = symbol.detail;
        } else {
            json["location"] = {{"uri", uri}, {"range", asJson(symbol.range)}};
        }
        all.push_back(std::move(json));
    }
    return all;
}

Json rangeOf(const Word& word, const Outline& outline, const Text& text) {
    const std::size_t start = outline.names.offsetOf(word);
    return asJson(text.rangeOf(start, start + word.text.size()));
}

}  // namespace cli::lsp
