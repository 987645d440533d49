#include "cli/lsp/hover.h"

#include <algorithm>
#include <regex>

#include "cli/lsp/language.h"
#include "cli/lsp/values.h"
#include "cli/pages.h"
#include "runtime/signature.h"

namespace cli::lsp {

namespace {

using namespace libzepl;

std::string codeBlock(const std::string& text, const char* language) {
    return std::string("```") + language + "\n" + text + (text.ends_with('\n') ? "" : "\n") + "```\n";
}

class HoverMaker {
 public:
    HoverMaker(const Outline& outline, const CommandLibrary& library, const Lengths& lengths)
        : outline_(outline), library_(library), values_(outline.procedure, lengths, library.words()) {}

    std::optional<std::string> of(const Word& word) const {
        switch (word.role) {
            case Role::command:
                return ofCommand(word);
            case Role::declaration:
            case Role::use:
                return ofName(word);
            case Role::statement:
                return ofLanguage(statementWords(), word);
            case Role::clause:
                return ofLanguage(clauseWords(), word);
            case Role::series:
                return "`" + std::string(word.text) + "` counts in the formula of this vector";
            default:
                return std::nullopt;
        }
    }

    std::optional<Hover> ofExpression(std::size_t offset, const Text& text) const {
        for (const Formula& formula : outline_.procedure.formulas) {
            const std::size_t start = text.offsetOf(formula.place),
                              length = static_cast<std::size_t>(formula.place.length);
            if (offset < start || offset > start + length) continue;
            const bool isOne = formula.goes != Formula::Goes::vectorValues;
            const std::optional<std::string> value = isOne ? values_.of(formula.tree) : std::nullopt;
            if (value) return Hover{codeBlock(formula.written + " = " + *value, "zp"), start, start + length};
        }
        return std::nullopt;
    }

 private:
    std::optional<std::string> ofCommand(const Word& word) const {
        const Command* command = library_.find(word.text);
        return command == nullptr ? std::nullopt : std::optional(pageInMarkdown(*command));
    }

    static std::optional<std::string> ofLanguage(const std::vector<LanguageWord>& words, const Word& word) {
        const auto found =
            std::find_if(words.begin(), words.end(), [&](const LanguageWord& each) { return each.word == word.text; });
        if (found == words.end()) return std::nullopt;
        return codeBlock(found->written, "zp") + "\n" + found->meaning + "\n";
    }

    std::optional<std::string> ofName(const Word& word) const {
        const std::string name(word.text);
        const Declaration* declaration = outline_.names.find(word.text);
        if (declaration == nullptr) {
            const auto& known = numberWords();
            if (std::find(known.begin(), known.end(), name) == known.end()) return std::nullopt;
            const std::optional<std::string> value = values_.ofName(name);
            return value ? std::optional(codeBlock(name + " = " + *value, "zp")) : std::nullopt;
        }
        const Statement& statement = outline_.names.statements()[declaration->statement];
        const std::string& text = outline_.procedure.source.text;
        // With the comment after it, and cut where a vector has very many values.
        const std::size_t end = std::min(text.find_first_of("\r\n", statement.end), text.size());
        constexpr std::size_t most = 1000;
        std::string written = text.substr(statement.start, std::min(end - statement.start, most));
        if (end - statement.start > most) written += " ...";
        return codeBlock(written, "zp") + "\n" + describe(*declaration, name) + "\n";
    }

    // "pipe of int16", "array of 4 pipes of float", "constant, 21".
    std::string describe(const Declaration& declaration, const std::string& name) const {
        std::string text(declaration.kind);
        if (declaration.isArray) text = "array of " + countOf(name) + text + "s";
        if (!declaration.type.empty()) text += " of " + std::string(declaration.type);
        if (declaration.kind != "constant") return text;
        const std::optional<std::string> value = values_.ofName(name);
        return value ? text + ", `" + *value + "`" : text;
    }

    // "4 "; empty where it cannot be computed.
    std::string countOf(const std::string& array) const {
        const Procedure& procedure = outline_.procedure;
        std::string count;
        const auto look = [&](const auto& list, Formula::Of of) {
            for (std::size_t i = 0; i < list.size(); ++i) {
                if (list[i].name != array) continue;
                const auto formula =
                    std::find_if(procedure.formulas.begin(), procedure.formulas.end(), [&](const Formula& each) {
                        return each.goes == Formula::Goes::elements && each.of == of && each.declaration == i;
                    });
                const bool isFormula = formula != procedure.formulas.end();
                count = isFormula ? values_.of(formula->tree).value_or("") : std::to_string(list[i].array.count);
            }
        };
        look(procedure.pipes, Formula::Of::pipes);
        look(procedure.triggers, Formula::Of::triggers);
        look(procedure.variables, Formula::Of::variables);
        look(procedure.vectors, Formula::Of::vectors);
        return count.empty() ? count : count + " ";
    }

    const Outline& outline_;
    const CommandLibrary& library_;
    Values values_;
};

}  // namespace

std::string pageInMarkdown(const Command& command) {
    std::string page = pageOf(command);
    if (page.empty()) page = command.name + ", of the module " + command.module + "\n";
    const std::size_t titleEnd = std::min(page.find('\n'), page.size());
    static const std::regex link(R"(\[([^\]\n]*)\]\([^)\n]*\))");
    const std::string text =
        "### " + page.substr(0, titleEnd) + "\n" + std::regex_replace(page.substr(titleEnd), link, "$1");
    if (!command.signature) return text + "\nIt has no signature: the command checks its parameters itself.\n";
    return text + "\nParameters:\n\n" + codeBlock(layOut(*command.parsed), "text");
}

std::optional<Hover> hoverAt(const Outline& outline, std::size_t offset, const CommandLibrary& library,
                             const Lengths& lengths) {
    const HoverMaker maker(outline, library, lengths);
    if (const Word* word = outline.names.wordAt(offset)) {
        const std::size_t start = outline.names.offsetOf(*word);
        if (std::optional<std::string> text = maker.of(*word))
            return Hover{std::move(*text), start, start + word->text.size()};
    }
    return maker.ofExpression(offset, Text(outline.procedure.source.text));
}

}  // namespace cli::lsp
