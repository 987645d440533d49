// The words of a procedure, as an editor finds them without the parser.

#include "cli/lsp/names.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <tuple>

#include "runtime/expressions/expression.h"
#include "runtime/files.h"
#include "runtime/procedure.h"

namespace cli::lsp {
namespace {

using namespace libzepl;
using Found = std::set<std::tuple<int, int, std::string>>;

void addNames(const Expression& tree, Found& found, const std::string& counting = {}) {
    using Form = Expression::Form;
    const bool isName = tree.form == Form::name || tree.form == Form::index;
    if (isName && tree.name != counting) found.emplace(tree.place.line, tree.place.column, tree.name);
    for (std::size_t i = 0; i < tree.operands.size(); ++i)
        addNames(tree.operands[i], found, tree.form == Form::series && i == 0 ? tree.name : counting);
}

// What the parser takes for names that are used.
Found usesIn(const Procedure& procedure) {
    Found found;
    for (const Formula& formula : procedure.formulas) addNames(*formula.tree, found);
    for (const ConstantDeclaration& constant : procedure.constants) addNames(*constant.tree, found);
    for (const PipeDeclaration& pipe : procedure.pipes)
        if (pipe.definition) addNames(*pipe.definition, found);
    for (const TableDeclaration& table : procedure.tables)
        for (const TableColumn& column : table.columns)
            found.emplace(column.place.line, column.place.column, column.name);
    for (const CommandUse& use : procedure.commands)
        for (const Argument& argument : use.arguments)
            if (argument.kind == Argument::Kind::word)
                found.emplace(argument.place.line, argument.place.column, argument.text);
    return found;
}

TEST(EditorNames, AreThoseOfTheParser) {
    std::size_t compared = 0;
    for (const char* folder : {"/examples", "/examples/live", "/tests/fuzz/corpus/procedure"})
        for (const auto& file : std::filesystem::directory_iterator(TEST_SOURCE_DIR + std::string(folder))) {
            if (file.path().extension() != ".zp") continue;
            std::vector<Diagnostic> mistakes;
            const Procedure procedure = parseProcedure({{}, readTextFile(file.path())}, mistakes);
            if (!mistakes.empty()) continue;
            Found uses, declared;
            const Names names(procedure.source.text);
            for (const Word& word : names.words()) {
                const bool isNumber = (word.text == "nan" || word.text == "inf") && names.find(word.text) == nullptr;
                if (word.role == Role::use && !isNumber) uses.emplace(word.place.line, word.place.column, word.text);
                if (word.role == Role::declaration) declared.emplace(word.place.line, word.place.column, word.text);
            }
            Found wanted;
            const auto add = [&](const auto& list) {
                for (const auto& each : list) wanted.emplace(each.place.line, each.place.column, each.name);
            };
            add(procedure.pipes);
            add(procedure.triggers);
            add(procedure.variables);
            add(procedure.vectors);
            add(procedure.constants);
            EXPECT_EQ(uses, usesIn(procedure)) << file.path();
            EXPECT_EQ(declared, wanted) << file.path();
            ++compared;
        }
    EXPECT_GT(compared, 20U);
}

// Each prefix of a procedure is one that somebody writes.
TEST(EditorNames, OfHalfAProcedureAreAmongThoseOfTheWhole) {
    const std::string text = readTextFile(TEST_SOURCE_DIR "/examples/gearbox.zp");
    const Names whole(text);
    for (std::size_t end = 0; end <= text.size(); ++end) {
        const std::string half = text.substr(0, end);
        const Names names(half);
        for (std::size_t i = 0; i + 1 < names.words().size(); ++i) {
            const Word &word = names.words()[i], &same = whole.words()[i];
            const bool isSeries = same.role == Role::series;
            ASSERT_EQ(word.text, same.text) << half;
            ASSERT_TRUE(word.role == same.role || isSeries) << half << "\n" << word.text;
        }
        contextAt(text, end);
    }
}

TEST(EditorNames, WordsOfTheLanguageAreNamesWhereTheyAreDeclared) {
    const std::string text =
        "pipe from : int16 from \"x.wav\" rate 5\npipe rate : float = from * to[1] starts [to] to \"to.wav\"\n"
        "constant to = 2\nvector for : float = [for for for = 1 to to]\ntable \"t\" : from, seconds every to limit to\n";
    const Names names(text);
    std::string shown;
    for (const Word& word : names.words())
        if (word.role == Role::use || word.role == Role::declaration)
            shown += std::to_string(word.place.line) + ":" + std::to_string(word.place.column) + " ";
    EXPECT_EQ(shown, "1:6 2:6 2:21 2:28 2:42 3:10 4:8 4:42 5:13 5:19 5:33 5:42 ");
}

}  // namespace
}  // namespace cli::lsp
