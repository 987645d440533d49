#include "runtime/cautions.h"

#include <algorithm>
#include <array>
#include <optional>
#include <sstream>

#include "runtime/diagnostics.h"
#include "runtime/element_type.h"
#include "runtime/procedure.h"

namespace libzepl {

namespace {

using Words = std::vector<std::string>;
using TermForm = CautionTerm::Form;
using ValueForm = CautionValue::Form;

constexpr std::string_view arrivalRemedy =
    "runs with `--feed random:1`, `random:2` and so on show whether it matters here";

Words wordsOf(const std::string& text) {
    std::istringstream stream(text);
    stream.exceptions(std::ios::badbit);  // a lack of memory is no end of the text
    Words words;
    for (std::string word; stream >> word;) words.push_back(word);
    return words;
}

[[noreturn]] void refuse(const std::string& what, const std::string& remedy) {
    throw Problem("a caution's " + what, remedy);
}

CautionValue valueIn(const Words& words) {
    if (words.size() == 1) {
        if (const std::optional<Number> number = parseNumber(words[0]))
            return {ValueForm::number, number->real, {}, {}};
        return {ValueForm::word, 0, words[0], {}};
    }
    if (words == Words{"default", "block"}) return {ValueForm::block, 0, {}, {}};
    if (words.size() == 3 && words[0] == "length" && words[1] == "of") return {ValueForm::length, 0, words[2], {}};
    if (words.size() == 3 && words[1] == "+") return {ValueForm::sum, 0, words[0], words[2]};
    if (words.size() == 3 && words[1] == "*") return {ValueForm::product, 0, words[0], words[2]};
    refuse("comparison has no value that can be read",
           "write NAME, NAME + NAME, NAME * NAME, length of NAME or a number");
}

std::optional<CautionTerm> comparisonIn(const Words& words) {
    const auto sign = std::find_if(words.begin(), words.end(),
                                   [](const std::string& word) { return word == "<" || word == "=" || word == ">"; });
    if (sign == words.end()) return std::nullopt;
    CautionTerm term{.form = TermForm::compared, .name = {}, .words = {}, .left = {}, .right = {}};
    term.sign = sign->front();
    term.left = valueIn({words.begin(), sign});
    term.right = valueIn({sign + 1, words.end()});
    return term;
}

CautionTerm termOf(TermForm form, const Words& words, std::size_t from) {
    return {.form = form,
            .name = words[0],
            .words = {words.begin() + static_cast<std::ptrdiff_t>(from), words.end()},
            .left = {},
            .right = {}};
}

// NAME is ...
std::optional<CautionTerm> qualityIn(const Words& words) {
    constexpr std::array<std::pair<std::string_view, TermForm>, 7> qualities{{{"given", TermForm::given},
                                                                              {"missing", TermForm::missing},
                                                                              {"repeated", TermForm::repeated},
                                                                              {"odd", TermForm::odd},
                                                                              {"even", TermForm::even},
                                                                              {"unsorted", TermForm::unsorted},
                                                                              {"shared", TermForm::shared}}};
    constexpr std::array<std::string_view, 6> kinds{"pipe", "trigger", "variable", "vector", "number", "text"};
    if (words.size() == 4 && words[2] == "a" && std::find(kinds.begin(), kinds.end(), words[3]) != kinds.end())
        return termOf(TermForm::ofKind, words, 3);
    if (words.size() != 3) return std::nullopt;
    if (elementTypeNamed(words[2])) return termOf(TermForm::ofType, words, 2);
    for (const auto& [word, form] : qualities)
        if (words[2] == word) return termOf(form, words, 3);
    return std::nullopt;
}

std::optional<CautionTerm> relationIn(const Words& words) {
    if (words.size() == 2 && words[1] == "arrives") return termOf(TermForm::arrives, words, 2);
    if (words.size() == 3 && words[1] == "contains") return termOf(TermForm::contains, words, 2);
    if (words.size() == 3 && words[1] == "lacks") return termOf(TermForm::lacks, words, 2);
    if (words.size() == 3 && words[1] == "unlike") return termOf(TermForm::unlike, words, 2);
    if (words.size() == 3 && words[1] == "passes" && parseNumber(words[2])) return termOf(TermForm::passes, words, 2);
    if (words.size() < 3 || words[1] != "bypasses") return std::nullopt;
    CautionTerm term = termOf(TermForm::bypasses, words, 2);
    std::erase(term.words, "through");
    return term;
}

CautionTerm termIn(const Words& words) {
    if (words == Words{"always"}) return {.form = TermForm::always, .name = {}, .words = {}, .left = {}, .right = {}};
    std::optional<CautionTerm> term = comparisonIn(words);
    if (!term && words.size() >= 3 && words[1] == "is") term = qualityIn(words);
    if (!term) term = relationIn(words);
    if (term) return *term;
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
    refuse("condition cannot be read: " + quoted(text), "runtime/cautions.h lists the terms");
}

std::vector<CautionTerm> conditionIn(const std::string& text) {
    std::vector<CautionTerm> terms;
    Words words;
    for (const std::string& word : wordsOf(text + " and")) {
        if (word != "and") {
            words.push_back(word);
            continue;
        }
        terms.push_back(termIn(words));
        words.clear();
    }
    return terms;
}

// A field that a line begins, with the lines that continue it.
struct Field {
    std::string key, text;
};

std::vector<Field> fieldsIn(std::string_view text) {
    std::istringstream stream{std::string(text)};
    stream.exceptions(std::ios::badbit);
    std::vector<Field> fields;
    for (std::string line; std::getline(stream, line);) {
        const std::size_t start = line.find_first_not_of(' ');
        if (start == std::string::npos) continue;
        const std::size_t colon = line.find(": ");
        if (start > 0 && !fields.empty())
            fields.back().text += line.substr(start - 1);
        else if (start == 0 && colon != std::string::npos)
            fields.push_back({line.substr(0, colon), line.substr(colon + 2)});
        else
            refuse("line cannot be read: " + quoted(line),
                   "write FIELD: TEXT, and begin its further lines with a blank");
    }
    return fields;
}

}  // namespace

void CautionTable::add(const std::string& command, std::string_view text) {
    std::vector<Caution>& cautions = cautions_[command];
    bool isOpen = false;  // whether the last one may get further conditions
    for (const Field& field : fieldsIn(text)) {
        if (field.key == "when") {
            if (!isOpen) cautions.emplace_back();
            isOpen = true;
            cautions.back().when.push_back(conditionIn(field.text));
        } else if ((field.key == "caution" || field.key == "arrival") && isOpen) {
            isOpen = false;
            cautions.back().isArrival = field.key == "arrival";
            cautions.back().text = field.text;
            if (cautions.back().isArrival) cautions.back().remedy = arrivalRemedy;
        } else if (field.key == "remedy" && !isOpen && !cautions.empty()) {
            cautions.back().remedy = field.text;
        } else {
            refuse("field " + quoted(field.key) + " cannot be here",
                   "write `when`, then `caution` or `arrival`, then `remedy`");
        }
    }
    if (isOpen) refuse("condition has no text", "write `caution` or `arrival` after `when`");
}

const std::vector<Caution>& CautionTable::of(const std::string& command) const {
    static const std::vector<Caution> none;
    const auto found = cautions_.find(command);
    return found == cautions_.end() ? none : found->second;
}

}  // namespace libzepl
