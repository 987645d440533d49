// Pipes of a session that expressions define.

#include <algorithm>
#include <utility>

#include "runtime/definitions/definition_task.h"
#include "runtime/engine/flow.h"
#include "runtime/session.h"
#include "runtime/session/session_ids.h"

namespace libzepl {

namespace {

using Form = Expression::Form;

// Sorts the names of a tree out.
struct NamesOfTree {
    const DefinitionSettings& settings;
    StreamNames names{};
    std::vector<const TaskArgument*> streams{}, variables{};

    void collect(const Expression& tree) {
        const bool isKnownForm =
            tree.form != Form::series && (tree.form != Form::call || tree.function->kind <= Function::Kind::choice);
        if (!isKnownForm) throw Problem("an expression that defines a pipe gives one number for each sample");
        if (tree.form == Form::name || tree.form == Form::index) return add(tree);
        for (const Expression& operand : tree.operands) collect(operand);
    }

    void add(const Expression& name) {
        const auto found = std::find_if(settings.names.begin(), settings.names.end(),
                                        [&](const TaskArgument& each) { return each.name == name.name; });
        if (found == settings.names.end())
            throw Problem("the expression has " + libzepl::quoted(name.name) + ", which stands for nothing",
                          "add it to the names");
        const bool isPipe = (found->kind & zepl::anyPipe) != 0;
        const bool isPast = name.form == Form::index;
        const Number* past = isPast ? &name.operands[0].number : nullptr;
        if (isPast &&
            (!isPipe || name.operands[0].form != Form::number || past->integer > -1 || past->integer < -maxPast))
            throw Problem("the past sample of " + libzepl::quoted(name.name) + " is none of a pipe", "write NAME[-1]");
        if (found->object == static_cast<std::uint64_t>(settings.pipe) && isPipe) {
            if (!isPast) throw Problem(libzepl::quoted(name.name) + " needs itself", "take a past sample of it");
            return;
        }
        auto& list = isPipe ? names.streams : names.variables;
        if (std::find(list.begin(), list.end(), name.name) != list.end()) return;
        list.push_back(name.name);
        (isPipe ? streams : variables).push_back(&*found);
    }
};

}  // namespace

void Session::addDefinition(DefinitionSettings settings) {
    Engine& e = unstarted();
    Pipe& defined = objectOf(e, settings.pipe);
    if (defined.inputWrites || defined.writer != nullptr || defined.hasInitialElements)
        throw Problem(libzepl::quoted(defined.name) + " has samples already, and an expression is to define it",
                      "give each pipe one source");
    if (settings.tree == nullptr) throw Problem("no expression defines " + libzepl::quoted(defined.name));
    NamesOfTree found{settings};
    found.collect(*settings.tree);
    found.names.streams.push_back(settings.ownName.empty() ? defined.name : settings.ownName);
    std::vector<Pipe*> pipes;
    std::vector<const Variable*> variables;
    std::vector<ElementType> types;
    std::vector<std::vector<double>> pasts;
    for (const TaskArgument* stream : found.streams) pipes.push_back(&objectOf(e, static_cast<PipeId>(stream->object)));
    for (const TaskArgument* variable : found.variables)
        variables.push_back(&objectOf(e, static_cast<VariableId>(variable->object)));
    for (const Pipe* pipe : pipes) types.push_back(pipe->type);
    types.push_back(defined.type);
    for (const std::string& name : found.names.streams) pasts.push_back(settings.pasts[name]);
    StreamEvaluator evaluator(compileStream(*settings.tree, found.names), std::move(types), pasts);
    const std::size_t cost = sizeof(Task) + 4096 + 512 * pipes.size() + 128 * evaluator.program().blockSteps.size();
    if (!e.graph.memory.reserve(cost))
        throw Problem("no memory is left for " + settings.text, "use fewer tasks, or raise --memory");
    Task& task = e.graph.tasks.emplace_back(e.graph.memory);
    task.number = static_cast<std::uint32_t>(e.graph.tasks.size());
    task.line = settings.line;
    task.routine = std::make_unique<DefinitionTask>(std::move(settings.text), std::move(evaluator), task, defined,
                                                    pipes, std::move(variables));
    task.command = &task.routine->command;
    // So that a command that writes the pipe, too, is refused at its own place.
    openPort(e, task.pipePorts.front(), PortMode::writing);
}

}  // namespace libzepl
