// Elements in place of arrays.

#include <map>
#include <set>
#include <type_traits>
#include <utility>

#include "runtime/expressions/evaluate.h"
#include "runtime/procedure.h"
#include "runtime/procedure/array_trees.h"
#include "runtime/procedure/definitions.h"
#include "runtime/tokens/lexer.h"
#include "runtime/wording.h"

namespace libzepl {

namespace {

// Past so many elements, tasks and their arguments an array was meant to be something else.
constexpr std::int64_t maxExpanded = 200000;

struct DeclaredName {
    std::string kind;
    ArrayPlace array;
};

// The channels or columns of one declaration, and the word for them.
struct ChosenChannels {
    std::string word;  // empty where none is chosen
    std::optional<std::int64_t> first, last;
};

ChosenChannels chosenOf(const FileClause& file) {
    if (file.channel) return {"channel", file.channel, file.lastChannel};
    if (!file.column) return {};
    const auto* number = std::get_if<std::int64_t>(&*file.column);
    return {"column", number == nullptr ? std::nullopt : std::optional(*number), file.lastColumn};
}

// Past the last number that there is it wraps, to one that no file has.
std::int64_t numberOfElement(std::int64_t first, const ArrayPlace& array) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(first) + static_cast<std::uint64_t>(array.index - 1));
}

FileClause fileOfElement(FileClause file, const ArrayPlace& array) {
    if (file.column) {
        if (auto* number = std::get_if<std::int64_t>(&*file.column)) *number = numberOfElement(*number, array);
    } else {
        if (!file.channel) file.elements = array.count;
        file.channel = numberOfElement(file.channel.value_or(1), array);
    }
    file.lastChannel.reset();
    file.lastColumn.reset();
    return file;
}

template <class Declaration>
Declaration elementOfArray(const Declaration& array, std::int64_t index) {
    Declaration element = array;
    element.array = {array.array.count, index, array.name};
    element.name = elementName(array.name, index);
    return element;
}

VectorDeclaration elementOf(const VectorDeclaration& array, std::int64_t index) {
    VectorDeclaration element = elementOfArray(array, index);
    if (element.from) element.from = fileOfElement(*array.from, element.array);
    return element;
}

TriggerDeclaration elementOf(const TriggerDeclaration& array, std::int64_t index) {
    return elementOfArray(array, index);
}

VariableDeclaration elementOf(const VariableDeclaration& array, std::int64_t index) {
    const Number& value = array.values.empty() ? array.value : array.values[static_cast<std::size_t>(index) - 1];
    return {elementName(array.name, index), array.place, array.type, value, {array.array.count, index, array.name}};
}

// What an element costs, of a bound that counts in elements.
std::int64_t costOf(std::size_t values) { return 1 + static_cast<std::int64_t>(values / 32); }
std::int64_t costOf(const PipeDeclaration& pipe) { return costOf(pipe.starts.size()); }
std::int64_t costOf(const TriggerDeclaration&) { return 1; }
std::int64_t costOf(const VariableDeclaration&) { return 1; }
std::int64_t costOf(const VectorDeclaration& vector) { return costOf(vector.values.size()); }
std::int64_t costOf(const std::vector<Argument>& arguments) {
    std::int64_t cost = 1;
    for (const Argument& argument : arguments) cost += costOf(argument.text.size());
    return cost;
}

class Expander {
 public:
    Expander(Procedure& procedure, std::vector<Diagnostic>& diagnostics)
        : procedure_(procedure), mistakes_(diagnostics) {
        collect(procedure.pipes, "pipe");
        collect(procedure.triggers, "trigger");
        collect(procedure.variables, "variable");
        collect(procedure.vectors, "vector");
        for (const ConstantDeclaration& each : procedure.constants)
            names_.emplace(each.name, DeclaredName{"number", {}});
    }

    void expand() {
        expandAll(procedure_.pipes);
        expandAll(procedure_.triggers);
        expandAll(procedure_.variables);
        expandAll(procedure_.vectors);
        defineElements();
        std::vector<CommandUse> uses;
        for (CommandUse& use : procedure_.commands) expandCommand(std::move(use), uses);
        procedure_.commands = std::move(uses);
    }

 private:
    template <class Declarations>
    void collect(const Declarations& list, const std::string& kind) {
        for (const auto& each : list) names_.emplace(each.name, DeclaredName{kind, each.array});
    }

    template <class Declaration>
    void expandAll(std::vector<Declaration>& list) {
        std::vector<Declaration> elements;
        for (Declaration& each : list) {
            check(each);
            const std::int64_t count = each.array.count;
            if (!each.array.isWhole()) {
                elements.push_back(std::move(each));
            } else if (count == unknownCount || !spend(count * costOf(each), each.place)) {
                names_.at(each.name).array.count = each.array.count = unknownCount;
                elements.push_back(std::move(each));
            } else {
                if constexpr (std::is_same_v<Declaration, PipeDeclaration>) addJointOutput(each);
                for (std::int64_t index = 1; index <= count; ++index) elements.push_back(elementOf(each, index));
            }
        }
        list = std::move(elements);
    }

    // What is wrong with the definition of an array is reported for its first element.
    void defineElements() {
        const ArrayCounts counts = [&](const std::string& name) {
            const auto found = names_.find(name);
            return found == names_.end() ? 0 : found->second.array.count;
        };
        std::set<std::string> refused;
        for (PipeDeclaration& pipe : procedure_.pipes) {
            if (!pipe.definition) continue;
            try {
                pipe.definition =
                    std::make_shared<Expression>(treeOfElement(*pipe.definition, pipe.name, pipe.array, counts));
            } catch (const ExpressionRefused& refusal) {
                const std::string& name = pipe.array.isElement() ? pipe.array.name : pipe.name;
                if (refused.insert(name).second) mistakes_.add(refusal.mistake);
                pipe.definition.reset();
            }
        }
    }

    // False, with the mistake reported at the first time, when the procedure grows past its bound.
    bool spend(std::int64_t n, const Place& place) {
        if (spent_ + n <= maxExpanded) {
            spent_ += n;
            return true;
        }
        if (std::exchange(spent_, maxExpanded + 1) <= maxExpanded)
            mistakes_.add(
                place, "the arrays make over " + std::to_string(maxExpanded) + " elements, tasks and arguments of them",
                "declare smaller arrays");
        return false;
    }

    void addJointOutput(const PipeDeclaration& pipe) {
        if (!pipe.to) return;
        JointOutput joint{pipe.name, pipe.place, pipe.type, *pipe.to, {}};
        for (std::int64_t index = 1; index <= pipe.array.count; ++index)
            joint.elements.push_back(elementName(pipe.name, index));
        procedure_.jointOutputs.push_back(std::move(joint));
    }

    void check(PipeDeclaration& pipe) { checkSource(pipe); }
    void check(VectorDeclaration& vector) { checkSource(vector); }
    void check(TriggerDeclaration& trigger) {
        if (!trigger.array.isWhole() || trigger.array.count == unknownCount) return;
        checkEvents(trigger, trigger.from, "--in ");
        checkEvents(trigger, trigger.to, "--out ");
    }
    void check(VariableDeclaration& variable) {
        const std::int64_t count = variable.array.count, given = static_cast<std::int64_t>(variable.values.size());
        if (given == 0 || given == count || count == unknownCount) return;
        mistakes_.add(variable.valuesPlace,
                      hasElements(variable.name, count) + ", and " + counted(variable.values.size(), "value") +
                          (given == 1 ? " is given" : " are given"),
                      "give a value for each, or one for all without brackets");
        variable.values.clear();
    }

    // A source with a mistake is left out.
    template <class Declaration>
    void checkSource(Declaration& declared) {
        if (!declared.from || declared.array.count == unknownCount) return;
        const ChosenChannels chosen = chosenOf(*declared.from);
        const bool isGood =
            declared.array.isWhole() ? isGoodForArray(declared, chosen) : isGoodForOne(declared, chosen);
        if (!isGood) declared.from.reset();
    }

    template <class Declaration>
    bool isGoodForOne(const Declaration& declared, const ChosenChannels& chosen) {
        if (!chosen.last) return true;
        const std::string& kind = names_.at(declared.name).kind;
        return refuse(declared.from->channelPlace,
                      quoted(declared.name) + " is one " + kind + ", and takes one " + chosen.word,
                      "an array takes several: " + kind + " " + declared.name + "[COUNT]");
    }

    template <class Declaration>
    bool isGoodForArray(const Declaration& declared, const ChosenChannels& chosen) {
        const std::int64_t count = declared.array.count;
        const std::string has = hasElements(declared.name, count);
        const Place& place = declared.from->channelPlace;
        if (declared.interleaved)
            return refuse(declared.place,
                          "the elements of " + quoted(declared.name) +
                              " take a channel each, and `interleaved` keeps channels together",
                          "leave out `interleaved`");
        if (chosen.word.empty()) return true;
        const std::string range = "a range of them: " + chosen.word + " FIRST..LAST";
        if (!chosen.first) return refuse(place, "one column has that heading, and " + has, "number " + range);
        if (!chosen.last && count > 1)
            return refuse(place, "that is one " + chosen.word + ", and " + has, "give " + range);
        const std::int64_t last = chosen.last.value_or(*chosen.first), given = last - *chosen.first + 1;
        if (given < 1) return refuse(place, chosen.word + "s count upwards", "put the smaller one first: FIRST..LAST");
        if (given == count) return true;
        return refuse(place,
                      std::to_string(*chosen.first) + ".." + std::to_string(last) + " is " +
                          counted(static_cast<std::uint64_t>(given), chosen.word) + ", and " + has,
                      "each element takes one");
    }

    void checkEvents(const TriggerDeclaration& trigger, std::optional<FileClause>& file, const std::string& option) {
        if (!file) return;
        mistakes_.add(file->place,
                      "a file has the events of one trigger, and " + hasElements(trigger.name, trigger.array.count),
                      "give each element its own on the command line, " + option + elementName(trigger.name, 1) +
                          "=FILE, or declare triggers without an array");
        file.reset();
    }

    static std::string hasElements(const std::string& name, std::int64_t count) {
        return quoted(name) + " has " + counted(static_cast<std::uint64_t>(count), "element");
    }

    bool refuse(const Place& place, std::string message, std::string remedy) {
        mistakes_.add(place, std::move(message), std::move(remedy));
        return false;
    }

    void expandCommand(CommandUse use, std::vector<CommandUse>& to) {
        std::vector<Argument> arguments;
        const Argument* whole = nullptr;
        for (Argument& argument : use.arguments)
            if (!addArgument(argument, whole, arguments)) use.isRefused = true;
        const std::int64_t count = whole == nullptr ? 1 : names_.at(whole->text).array.count;
        if (!use.isRefused && whole != nullptr && !spend(count * costOf(arguments), use.place)) use.isRefused = true;
        if (whole == nullptr || use.isRefused) {
            if (!use.isRefused) use.arguments = std::move(arguments);
            to.push_back(std::move(use));
            return;
        }
        for (std::int64_t index = 1; index <= count; ++index) {
            CommandUse one{use.command, use.place, arguments, {count, index}};
            for (Argument& argument : one.arguments)
                if (isWholeArray(argument)) nameElement(argument, index);
            to.push_back(std::move(one));
        }
    }

    const DeclaredName* find(const std::string& name) const {
        const auto found = names_.find(name);
        return found == names_.end() ? nullptr : &found->second;
    }

    bool isWholeArray(const Argument& argument) const {
        if (argument.kind != Argument::Kind::word || argument.element) return false;
        const DeclaredName* declared = find(argument.text);
        return declared != nullptr && declared->array.isWhole();
    }

    static void nameElement(Argument& argument, std::int64_t index) {
        argument.element.reset();
        argument.givesAll = false;
        argument.text = argument.written = elementName(argument.text, index);
    }

    // Adds the argument, or what stands for it; `whole` is the first that is a whole array. False with a mistake.
    bool addArgument(const Argument& argument, const Argument*& whole, std::vector<Argument>& to) {
        const DeclaredName* declared = argument.kind == Argument::Kind::word ? find(argument.text) : nullptr;
        const bool isArray = declared != nullptr && declared->array.isWhole();
        if (!isArray && (argument.element || argument.givesAll)) return refuseNoArray(argument, declared);
        to.push_back(argument);
        if (!isArray) return true;
        const std::int64_t count = declared->array.count;
        if (count == unknownCount) return false;
        if (argument.element) {
            const auto mistake = indexMistake(argument.text, count, *argument.element, argument.place);
            if (mistake) mistakes_.add(*mistake);
            nameElement(to.back(), *argument.element);
            return !mistake;
        }
        if (argument.givesAll) {
            if (!spend(count * costOf(argument.text.size()), argument.place)) return false;
            to.pop_back();
            for (std::int64_t index = 1; index <= count; ++index) {
                to.push_back(argument);
                nameElement(to.back(), index);
            }
            return true;
        }
        if (whole == nullptr) whole = &argument;
        const std::int64_t first = names_.at(whole->text).array.count;
        if (first == count) return true;
        return refuse(
            argument.place,
            hasElements(whole->text, first) + ", and " + quoted(argument.text) + " " + std::to_string(count),
            "a command takes whole arrays of one length; " + quoted(elementName(argument.text, 1)) + " is one element");
    }

    bool refuseNoArray(const Argument& argument, const DeclaredName* declared) {
        const std::string name = quoted(argument.text);
        if (declared != nullptr)
            return refuse(argument.place, name + " is one " + declared->kind + ", which has no elements",
                          declared->kind == "number"
                              ? "write " + name + " alone"
                              : "declare an array of them: " + declared->kind + " " + argument.text + "[COUNT]");
        std::vector<std::string> known;
        for (const auto& each : names_) known.push_back(each.first);
        const std::string near = suggestion(argument.text, known);
        return refuse(argument.place, "unknown name " + name,
                      near.empty() ? "declare it as an array: pipe " + argument.text + "[COUNT] : TYPE" : near);
    }

    Procedure& procedure_;
    Mistakes mistakes_;
    std::map<std::string, DeclaredName> names_;
    std::int64_t spent_ = 0;
};

}  // namespace

std::string elementName(const std::string& array, std::int64_t index) {
    return array + "[" + std::to_string(index) + "]";
}

std::string nameOf(const CommandUse& use) {
    return use.array.isElement() ? elementName(use.command, use.array.index) : use.command;
}

std::optional<Diagnostic> indexMistake(const std::string& array, std::int64_t count, std::int64_t index,
                                       const Place& place) {
    if (index >= 1 && index <= count) return std::nullopt;
    const std::string first = quoted(elementName(array, 1)), last = quoted(elementName(array, count));
    return Diagnostic{Severity::error, place, "there is no " + quoted(elementName(array, index)),
                      count == 1 ? "the only element is " + first : "the elements are " + first + " to " + last};
}

PipeDeclaration elementOf(const PipeDeclaration& array, std::int64_t index) {
    PipeDeclaration element = elementOfArray(array, index);
    if (element.from) element.from = fileOfElement(*array.from, element.array);
    element.to.reset();
    return element;
}

Procedure expanded(Procedure procedure, std::vector<Diagnostic>& diagnostics) {
    Expander(procedure, diagnostics).expand();
    checkDefinitions(procedure, diagnostics);
    return procedure;
}

}  // namespace libzepl
