#include "cli/lsp/language.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>

#include "cli/pages.h"
#include "runtime/files.h"
#include "runtime/words.h"

namespace cli::lsp {

namespace {

// A row of a table, as | `NAME ...` | ... | MEANING |, without links, which lead nowhere in an editor.
std::vector<LanguageWord> rowsOf(const std::string& heading) {
    static const std::string section = guideSection("The procedure language");
    std::vector<LanguageWord> rows;
    std::istringstream lines(section.substr(section.find(heading)));
    std::string line;
    for (int i = 0; i < 2; ++i) std::getline(lines, line);
    const std::regex row(R"(\| `(([\w]+).*?)`.*\| (.*) \|)"), link(R"(\[([^\]]*)\]\([^)]*\))");
    while (std::getline(lines, line) && line.starts_with("|")) {
        std::smatch found;
        if (!std::regex_match(line, found, row)) continue;
        rows.push_back({found[2], found[1], std::regex_replace(found[3].str(), link, "$1")});
    }
    return rows;
}

// A command is no word, and of a word that has several rows the first is the usual one.
std::vector<LanguageWord> readStatements() {
    const std::vector<std::string> declarations = libzepl::declarationNames();
    std::vector<LanguageWord> words;
    for (LanguageWord& row : rowsOf("| statement |")) {
        const bool isWord = std::find(declarations.begin(), declarations.end(), row.word) != declarations.end();
        const bool isNew = words.empty() || words.back().word != row.word;
        if (isWord && isNew) words.push_back(std::move(row));
    }
    return words;
}

}  // namespace

const std::vector<LanguageWord>& statementWords() {
    static const std::vector<LanguageWord> words = readStatements();
    return words;
}

const std::vector<LanguageWord>& clauseWords() {
    static const std::vector<LanguageWord> words = rowsOf("| clause |");
    return words;
}

std::vector<LanguageWord> clausesAfter(std::string_view statement, bool isDefinition) {
    const std::vector<std::string> taken = libzepl::clausesOf(statement, isDefinition);
    std::vector<LanguageWord> words;
    for (const LanguageWord& word : clauseWords())
        if (std::find(taken.begin(), taken.end(), word.word) != taken.end()) words.push_back(word);
    return words;
}

std::vector<std::string> typeNames() {
    std::vector<std::string> names;
    for (const libzepl::ElementType type : libzepl::allElementTypes) names.emplace_back(libzepl::nameOf(type));
    return names;
}

std::vector<std::string> conversions() {
    std::vector<std::string> names;
    for (const libzepl::ConversionName& each : libzepl::conversionNames()) names.push_back(each.name);
    return names;
}

const std::vector<std::string>& numberWords() {
    static const std::vector<std::string> words{"rate", "pi", "inf", "nan"};
    return words;
}

const std::vector<std::string>& countingColumns() {
    static const std::vector<std::string> words{"seconds", "hertz", "index"};
    return words;
}

std::string wordsAsJson(const libzepl::CommandLibrary& library) {
    const auto wordsOf = [](const std::vector<LanguageWord>& rows) {
        std::vector<std::string> words;
        for (const LanguageWord& row : rows) words.push_back(row.word);
        return words;
    };
    std::vector<std::string> commands, known;
    for (const libzepl::Command& command : library.commands()) commands.push_back(command.name);
    for (const std::string& word : library.words())
        if (std::find(known.begin(), known.end(), word) == known.end()) known.push_back(word);
    const nlohmann::ordered_json words{{"statements", wordsOf(statementWords())},
                                       {"clauses", wordsOf(clauseWords())},
                                       {"types", typeNames()},
                                       {"functions", libzepl::functionsOfExpressions()},
                                       {"numbers", numberWords()},
                                       {"columns", countingColumns()},
                                       {"conversions", conversions()},
                                       {"words", known},
                                       {"commands", commands}};
    return words.dump(2) + "\n";
}

}  // namespace cli::lsp
