// A procedure with literals in place of its expressions.

#include <set>
#include <utility>

#include "runtime/procedure/constants.h"
#include "runtime/procedure/definitions.h"
#include "runtime/procedure/quantities.h"

namespace libzepl {

namespace {

using Goes = Formula::Goes;
using Of = Formula::Of;

class ProcedureEvaluator {
 public:
    ProcedureEvaluator(Procedure& procedure, const EvaluationSettings& settings, std::vector<Diagnostic>& diagnostics)
        : procedure_(procedure),
          settings_(settings),
          mistakes_(diagnostics),
          constants_(procedure, settings, mistakes_) {}

    void evaluate() {
        constants_.evaluateAll();
        for (const Formula& formula : procedure_.formulas)
            if (formula.goes == Goes::rate) place(formula);
        for (const Formula& formula : procedure_.formulas)
            if (formula.goes != Goes::rate) place(formula);
        for (const Formula& formula : procedure_.formulas) checkFrames(formula);
        for (PipeDeclaration& pipe : procedure_.pipes)
            if (pipe.definition) pipe.definition = foldedDefinition(*pipe.definition, constants_);
        placeNames();
        for (VariableDeclaration& variable : procedure_.variables) setVariable(variable);
        procedure_.formulas.clear();
    }

 private:
    void place(const Formula& formula) {
        if (formula.goes == Goes::vectorValues)
            placeVector(formula);
        else if (const std::optional<Number> value = constants_.valueOf(formula); value && isGood(formula, *value, ""))
            put(formula, *value);
        else
            leaveOut(formula);
    }

    void placeVector(const Formula& formula) {
        std::vector<Number> values = constants_.valuesOf(formula);
        for (std::size_t i = 0; i < values.size(); ++i) {
            values[i].place = formula.place;
            if (!isGood(formula, values[i], ", the " + std::to_string(i + 1) + ". value")) return;
        }
        procedure_.vectors[formula.declaration].values = std::move(values);
    }

    // A mistake is reported with the value, which the procedure does not show.
    bool isGood(const Formula& formula, Number value, const std::string& which) {
        value.place = formula.place;
        const Quantity quantity = quantityOf(formula);
        std::optional<Diagnostic> mistake = mistakeOf(quantity, value, formula.written + " = " + textOf(value) + which);
        if (!mistake) return true;
        const bool isCount = quantity.kind == Quantity::Kind::count || quantity.kind == Quantity::Kind::elements;
        const bool wantsInteger = isCount || quantity.kind == Quantity::Kind::index ||
                                  quantity.type == ElementType::int16 || quantity.type == ElementType::int32;
        const bool takesAnyReal = quantity.kind == Quantity::Kind::rate || quantity.kind == Quantity::Kind::step;
        if (wantsInteger && !takesAnyReal && !value.isInteger)
            mistake->remedy = "round(), floor(), ceil() and trunc() make integers";
        mistakes_.add(std::move(*mistake));
        return false;
    }

    Quantity quantityOf(const Formula& formula) const {
        if (formula.goes != Goes::argument) return quantityAt(formula.goes, typeOf(formula));
        const Argument& argument = argumentOf(formula);
        if (!argument.type) return {};
        return {.kind = Quantity::Kind::element, .type = *argument.type, .clause = {}};
    }

    // Of the declaration that the formula is in; the procedure's rate is in none.
    ElementType typeOf(const Formula& formula) const {
        if (formula.goes == Goes::rate) return ElementType::int16;
        switch (formula.of) {
            case Of::pipes:
                return procedure_.pipes[formula.declaration].type;
            case Of::variables:
                return procedure_.variables[formula.declaration].type;
            case Of::vectors:
                return procedure_.vectors[formula.declaration].type;
            default:
                return ElementType::int16;
        }
    }

    Argument& argumentOf(const Formula& formula) const {
        return procedure_.commands[formula.declaration].arguments[formula.position];
    }

    FileClause& sourceOf(const Formula& formula) {
        if (formula.of == Of::triggers) return *procedure_.triggers[formula.declaration].from;
        return formula.of == Of::pipes ? *procedure_.pipes[formula.declaration].from
                                       : *procedure_.vectors[formula.declaration].from;
    }

    FileClause& targetOf(const Formula& formula) {
        if (formula.of == Of::tables) return procedure_.tables[formula.declaration].to;
        return formula.of == Of::pipes ? *procedure_.pipes[formula.declaration].to
                                       : *procedure_.triggers[formula.declaration].to;
    }

    void put(const Formula& formula, const Number& value) {
        const std::size_t declaration = formula.declaration;
        switch (formula.goes) {
            case Goes::rate:
                procedure_.rate = value.real;
                break;
            case Goes::capacity:
                procedure_.pipes[declaration].capacity = static_cast<std::uint64_t>(value.integer);
                break;
            case Goes::start:
                procedure_.pipes[declaration].starts[formula.position] = value;
                break;
            case Goes::interleaved:
                (formula.of == Of::pipes ? procedure_.pipes[declaration].interleaved
                                         : procedure_.vectors[declaration].interleaved) = value.integer;
                break;
            case Goes::elements:
                arrayOf(formula).count = value.integer;
                break;
            case Goes::channel:
                sourceOf(formula).channel = value.integer;
                break;
            case Goes::lastChannel:
                sourceOf(formula).lastChannel = value.integer;
                break;
            case Goes::column:
                sourceOf(formula).column = value.integer;
                break;
            case Goes::lastColumn:
                sourceOf(formula).lastColumn = value.integer;
                break;
            case Goes::limit:
                targetOf(formula).limit = static_cast<std::uint64_t>(value.integer);
                break;
            case Goes::fileRate:
                targetOf(formula).rate = value.real;
                break;
            case Goes::sourceRate:
                sourceOf(formula).rate = value.real;
                break;
            case Goes::sourceTimeout:
                sourceOf(formula).timeout = value.real;
                break;
            case Goes::fileTimeout:
                targetOf(formula).timeout = value.real;
                break;
            case Goes::columnElement:
                procedure_.tables[declaration].columns[formula.position].element = value.integer;
                break;
            case Goes::every:
                procedure_.tables[declaration].columns[formula.position].every = value.real;
                break;
            case Goes::variableValue:
                putValue(procedure_.variables[declaration], formula.position, value);
                break;
            case Goes::vectorValue:
                procedure_.vectors[declaration].values[formula.position] = value;
                break;
            case Goes::vectorValues:
                break;
            case Goes::argument:
                argumentOf(formula).number = value;
                break;
            case Goes::element:
                argumentOf(formula).element = value.integer;
                break;
        }
    }

    static void putValue(VariableDeclaration& variable, std::size_t position, const Number& value) {
        (variable.values.empty() ? variable.value : variable.values[position]) = value;
    }

    ArrayPlace& arrayOf(const Formula& formula) {
        switch (formula.of) {
            case Of::pipes:
                return procedure_.pipes[formula.declaration].array;
            case Of::triggers:
                return procedure_.triggers[formula.declaration].array;
            case Of::variables:
                return procedure_.variables[formula.declaration].array;
            case Of::vectors:
                return procedure_.vectors[formula.declaration].array;
            default:
                return procedure_.commands[formula.declaration].array;
        }
    }

    // A file whose clause has no value would only give another mistake.
    void leaveOut(const Formula& formula) {
        const Goes goes = formula.goes;
        if (goes == Goes::elements) arrayOf(formula).count = unknownCount;
        if (goes == Goes::element) procedure_.commands[formula.declaration].isRefused = true;
        const bool isOfFile = goes == Goes::channel || goes == Goes::lastChannel || goes == Goes::column ||
                              goes == Goes::lastColumn || goes == Goes::interleaved;
        if (!isOfFile) return;
        if (formula.of == Of::pipes)
            procedure_.pipes[formula.declaration].from.reset();
        else
            procedure_.vectors[formula.declaration].from.reset();
    }

    void checkFrames(const Formula& formula) {
        if (formula.of != Of::pipes || (formula.goes != Goes::limit && formula.goes != Goes::interleaved)) return;
        const PipeDeclaration& pipe = procedure_.pipes[formula.declaration];
        if (!pipe.interleaved || !pipe.to || !pipe.to->limit || !checkedFrames_.insert(formula.declaration).second)
            return;
        if (auto mistake = frameMistake(*pipe.interleaved, *pipe.to->limit, formula.place)) mistakes_.add(*mistake);
    }

    // Arguments that are the name of a number alone.
    void placeNames() {
        for (CommandUse& use : procedure_.commands)
            for (Argument& argument : use.arguments) {
                const bool isName = argument.kind == Argument::Kind::word && !argument.element && !argument.givesAll;
                if (!isName || !constants_.isNumber(argument.text)) continue;
                Expression name;
                name.form = Expression::Form::name;
                name.name = argument.text;
                name.place = argument.place;
                const Formula formula{.goes = Goes::argument,
                                      .tree = std::make_shared<Expression>(std::move(name)),
                                      .written = argument.written,
                                      .place = argument.place};
                const std::optional<Number> value = constants_.valueOf(formula);
                use.isRefused |= !value;
                if (!value) continue;
                argument.kind = Argument::Kind::number;
                argument.number = *value;
                argument.number.place = argument.place;
            }
    }

    // The option of an element comes before that of the whole array.
    void setVariable(VariableDeclaration& variable) {
        if (!variable.array.isWhole()) {
            if (const std::optional<Number> value = optionValue(variable.name, variable.type)) variable.value = *value;
            return;
        }
        const std::string start = variable.name + "[";
        const auto first = settings_.values.lower_bound(start);
        const bool setsElements = first != settings_.values.end() && first->first.starts_with(start);
        if (const std::optional<Number> value = optionValue(variable.name, variable.type)) {
            variable.values.clear();
            variable.value = *value;
        }
        if (!setsElements || variable.array.count == unknownCount) return;
        if (variable.values.empty())
            variable.values.assign(static_cast<std::size_t>(variable.array.count), variable.value);
        for (std::size_t i = 0; i < variable.values.size(); ++i) {
            const std::string name = elementName(variable.name, static_cast<std::int64_t>(i) + 1);
            if (const std::optional<Number> value = optionValue(name, variable.type)) variable.values[i] = *value;
        }
    }

    // What an option gives the variable; nothing where none does, or it gives no such number, which is reported.
    std::optional<Number> optionValue(const std::string& name, ElementType type) {
        const auto given = settings_.values.find(name);
        if (given == settings_.values.end()) return std::nullopt;
        const std::string option = "--set " + name;
        std::optional<Number> value = parseNumber(given->second);
        std::string written = given->second;
        if (!value) {
            const auto text = std::make_shared<SourceText>(SourceText{option, given->second});
            const Formula formula{.tree = constants_.parseOption(text), .written = given->second, .place = {}};
            if (formula.tree) value = constants_.valueOf(formula, text);
            if (!value) return std::nullopt;
            written += " = " + textOf(*value);
        }
        if (holds(type, *value)) return value;
        mistakes_.add({}, option + ": " + notHeld(type, *value, written).message,
                      "give a number that " + std::string(nameOf(type)) + " holds");
        return std::nullopt;
    }

    Procedure& procedure_;
    const EvaluationSettings& settings_;
    Mistakes mistakes_;
    Constants constants_;
    std::set<std::size_t> checkedFrames_;  // pipes, each of which may have two formulas that count
};

}  // namespace

Procedure evaluated(Procedure procedure, const EvaluationSettings& settings, std::vector<Diagnostic>& diagnostics) {
    ProcedureEvaluator(procedure, settings, diagnostics).evaluate();
    return procedure;
}

}  // namespace libzepl
