#include "runtime/procedure/definitions.h"

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "runtime/expressions/evaluate.h"
#include "runtime/expressions/stream_program.h"

namespace libzepl {

namespace {

using Form = Expression::Form;

class Folder {
 public:
    explicit Folder(Constants& constants) : constants_(constants) {}

    std::optional<Expression> folded(const Expression& tree) {
        if (isNumber(tree)) return valueOf(tree);
        Expression result = tree;
        bool isWhole = true;
        for (std::size_t i = 0; i < tree.operands.size(); ++i) {
            std::optional<Expression> operand =
                tree.form == Form::index ? valueOf(tree.operands[i]) : folded(tree.operands[i]);
            isWhole = isWhole && operand;
            if (operand) result.operands[i] = std::move(*operand);
        }
        return isWhole ? std::optional(std::move(result)) : std::nullopt;
    }

 private:
    // A filter is none, and is refused as one.
    bool isNumber(const Expression& tree) const {
        if (tree.form == Form::index) return false;
        if (tree.form == Form::name) return constants_.standsForNumber(tree.name);
        const bool isCall = tree.form == Form::call;
        if (isCall && (tree.function->kind == Function::Kind::length || tree.function->kind == Function::Kind::filter))
            return true;
        return std::all_of(tree.operands.begin(), tree.operands.end(),
                           [&](const Expression& operand) { return isNumber(operand); });
    }

    std::optional<Expression> valueOf(const Expression& tree) {
        if (tree.form == Form::number) return tree;
        Formula formula;
        formula.tree = std::make_shared<Expression>(tree);
        formula.place = tree.place;
        const std::optional<Number> value = constants_.valueOf(formula);
        if (!value) return std::nullopt;
        Expression number;
        number.number = *value;
        number.place = tree.place;
        return number;
    }

    Constants& constants_;
};

class DefinitionChecker {
 public:
    DefinitionChecker(Procedure& procedure, std::vector<Diagnostic>& diagnostics)
        : procedure_(procedure), mistakes_(diagnostics) {
        for (std::size_t i = 0; i < procedure.pipes.size(); ++i) pipes_.emplace(procedure.pipes[i].name, i);
        const auto addKind = [&](const auto& list, const char* kind) {
            for (const auto& each : list) kinds_.emplace(each.name, kind);
        };
        addKind(procedure.triggers, "trigger");
        addKind(procedure.variables, "variable");
        addKind(procedure.vectors, "vector");
        addKind(procedure.constants, "constant");
    }

    void check() {
        needs_.resize(procedure_.pipes.size());
        for (std::size_t i = 0; i < procedure_.pipes.size(); ++i) {
            PipeDeclaration& pipe = procedure_.pipes[i];
            if (!pipe.definition) continue;
            isGood_ = true;
            lookAt(*pipe.definition, i);
            if (!isGood_) pipe.definition.reset();
        }
        states_.assign(procedure_.pipes.size(), State::untouched);
        for (std::size_t i = 0; i < procedure_.pipes.size(); ++i) follow(i);
    }

 private:
    enum class State : std::uint8_t { untouched, open, done };

    void refuse(const Place& place, std::string message, std::string remedy = {}) {
        isGood_ = false;
        mistakes_.add(place, std::move(message), std::move(remedy));
    }

    void lookAt(const Expression& tree, std::size_t defined) {
        if (tree.form == Form::name || tree.form == Form::index) return lookAtName(tree, defined);
        for (const Expression& operand : tree.operands) lookAt(operand, defined);
    }

    void lookAtName(const Expression& name, std::size_t defined) {
        const auto pipe = pipes_.find(name.name);
        if (pipe == pipes_.end()) return lookAtOther(name);
        if (name.form == Form::index) {
            checkPast(name);
        } else {
            needs_[defined].push_back(pipe->second);
        }
        checkChannels(name, pipe->second, defined);
    }

    void lookAtOther(const Expression& name) {
        const auto found = kinds_.find(name.name);
        const std::string which = quoted(name.name);
        if (found == kinds_.end()) {
            std::vector<std::string> known{"pi", "rate", "inf", "nan"};
            for (const auto& each : pipes_) known.push_back(each.first);
            for (const auto& each : kinds_) known.push_back(each.first);
            const std::string near = suggestion(name.name, known);
            return refuse(
                name.place, "unknown name " + which,
                near.empty() ? "an expression that defines a pipe has pipes, variables, constants and numbers" : near);
        }
        const std::string kind = found->second;
        if (kind != "variable")
            return refuse(name.place, which + " is a " + kind + ", and a sample is wanted",
                          "an expression that defines a pipe has pipes, variables, constants and numbers");
        if (name.form == Form::index)
            refuse(name.place, which + " is a variable, which has no past samples", "take them of a pipe");
    }

    void checkPast(const Expression& name) {
        const Number& past = name.operands[0].number;
        if (past.isInteger && past.integer <= -1 && past.integer >= -maxPast) return;
        refuse(name.operands[0].place,
               "a past sample is a whole number of samples before, from -1 to -" + std::to_string(maxPast) + ", not " +
                   textOf(past),
               past.isInteger ? "" : "round(), floor(), ceil() and trunc() make integers");
    }

    // What is interleaved stays so.
    void checkChannels(const Expression& name, std::size_t used, std::size_t defined) {
        const auto& channels = procedure_.pipes[used].interleaved;
        auto& own = procedure_.pipes[defined].interleaved;
        if (!channels || used == defined) return;
        if (own && *own != *channels)
            return refuse(name.place,
                          quoted(name.name) + " has " + std::to_string(*channels) + " channels interleaved, and " +
                              quoted(procedure_.pipes[defined].name) + " " + std::to_string(*own),
                          "an expression takes pipes of one number of channels");
        own = channels;
    }

    // Walks what the definition needs without a past sample, with a path of its own: chains can be longer than a stack is deep.
    void follow(std::size_t start) {
        std::vector<std::pair<std::size_t, std::size_t>> path;  // a pipe, and the next of those that it needs
        const auto enter = [&](std::size_t pipe) {
            states_[pipe] = State::open;
            path.emplace_back(pipe, 0);
        };
        if (states_[start] == State::untouched) enter(start);
        while (!path.empty()) {
            auto& [pipe, next] = path.back();
            if (next == needs_[pipe].size()) {
                states_[pipe] = State::done;
                path.pop_back();
                continue;
            }
            const std::size_t needed = needs_[pipe][next++];
            if (states_[needed] == State::open)
                reportCycle(path, needed);
            else if (states_[needed] == State::untouched)
                enter(needed);
        }
    }

    void reportCycle(const std::vector<std::pair<std::size_t, std::size_t>>& path, std::size_t again) {
        const auto isAgain = [&](const auto& step) { return step.first == again; };
        const PipeDeclaration& first = procedure_.pipes[again];
        std::string names;
        for (auto step = std::find_if(path.begin(), path.end(), isAgain); step != path.end(); ++step)
            names += quoted(procedure_.pipes[step->first].name) + " needs ";
        refuse(first.place, names + quoted(first.name) + ": there is no first sample",
               "take a past sample, such as " + first.name + "[-1]");
        for (auto step = std::find_if(path.begin(), path.end(), isAgain); step != path.end(); ++step)
            procedure_.pipes[step->first].definition.reset();
    }

    Procedure& procedure_;
    Mistakes mistakes_;
    std::map<std::string, std::size_t> pipes_;
    std::map<std::string, const char*> kinds_;
    std::vector<std::vector<std::size_t>>
        needs_;  // of each pipe: those whose sample of the same time its definition takes
    std::vector<State> states_;
    bool isGood_ = true;  // the definition that is looked at
};

}  // namespace

ExpressionTree foldedDefinition(const Expression& tree, Constants& constants) {
    std::optional<Expression> folded = Folder(constants).folded(tree);
    return folded ? std::make_shared<Expression>(std::move(*folded)) : nullptr;
}

void checkDefinitions(Procedure& procedure, std::vector<Diagnostic>& diagnostics) {
    DefinitionChecker(procedure, diagnostics).check();
}

}  // namespace libzepl
