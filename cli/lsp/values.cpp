#include "cli/lsp/values.h"

#include <utility>

#include "runtime/diagnostics.h"

namespace cli::lsp {

using namespace libzepl;

Values::Values(const Procedure& procedure, const std::map<std::string, std::uint64_t>& lengths,
               const std::vector<std::string>& words)
    : lengths_(lengths), words_(words) {
    needed_.rate = procedure.rate;
    needed_.constants = procedure.constants;
    needed_.triggers = procedure.triggers;
    needed_.variables = procedure.variables;
    needed_.pipes = procedure.pipes;
    for (PipeDeclaration& pipe : needed_.pipes) {
        pipe.definition = nullptr;
        pipe.from.reset();
    }
    for (const VectorDeclaration& vector : procedure.vectors)
        needed_.vectors.push_back({vector.name, vector.place, vector.type, {}, {}, {}, vector.array});
    for (const Formula& formula : procedure.formulas)
        if (formula.goes == Formula::Goes::rate || formula.goes == Formula::Goes::elements)
            needed_.formulas.push_back(formula);
}

std::optional<std::string> Values::ofName(const std::string& name) const {
    Procedure with = needed_;
    Argument argument;
    argument.text = argument.written = name;
    with.commands.push_back({{}, {}, {std::move(argument)}});
    return ofArgument(std::move(with));
}

std::optional<std::string> Values::of(const ExpressionTree& tree) const {
    Procedure with = needed_;
    Argument argument;
    argument.kind = Argument::Kind::number;
    with.commands.push_back({{}, {}, {std::move(argument)}});
    Formula formula;
    formula.goes = Formula::Goes::argument;
    formula.of = Formula::Of::commands;
    formula.tree = tree;
    with.formulas.push_back(std::move(formula));
    return ofArgument(std::move(with));
}

// The value goes to the argument of the one command there is; without one the argument stays as it is.
std::optional<std::string> Values::ofArgument(Procedure with) const {
    constexpr int untouched = -1;
    with.commands.front().arguments.front().number.place.line = untouched;
    EvaluationSettings settings{.values = {}, .words = words_, .frames = {}};
    settings.frames = [&](const Procedure&, const PipeDeclaration& pipe) {
        const auto known = lengths_.find(pipe.name);
        if (known == lengths_.end()) throw Problem("the recording has not been looked at");
        return known->second;
    };
    std::vector<Diagnostic> ignored;
    const Procedure result = evaluated(std::move(with), settings, ignored);
    const Number& number = result.commands.front().arguments.front().number;
    return number.place.line == untouched ? std::nullopt : std::optional(textOf(number));
}

}  // namespace cli::lsp
