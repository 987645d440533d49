#include "runtime/report/caution_check.h"

#include <algorithm>
#include <optional>
#include <set>
#include <unordered_map>
#include <variant>

#include "runtime/cautions.h"
#include "runtime/engine/task_graph.h"
#include "runtime/procedure.h"
#include "runtime/signature.h"

namespace libzepl {

namespace {

using TermForm = CautionTerm::Form;
using ValueForm = CautionValue::Form;
using Value = std::variant<double, std::string>;

std::string upperCase(std::string text) {
    for (char& c : text)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return text;
}

ElementType typeOf(const Parameter& parameter) {
    for (ElementType type : allElementTypes) {
        const zepl::ParamMask kinds = pipeKind(type) | vectorKind(type) | variableKind(type) | constantKind(type);
        if ((parameter.kind & kinds) != 0) return type;
    }
    return ElementType::int16;
}

double numberIn(const Parameter& parameter) {
    return withElementType(typeOf(parameter), [&]<class Element>() {
        Element value;
        std::memcpy(&value, parameter.cell.bytes, sizeof value);
        return static_cast<double>(value);
    });
}

std::string wordIn(const Parameter& parameter) {
    if (parameter.kind != zepl::hostKeyword) return parameter.text;
    std::int32_t value;
    std::memcpy(&value, parameter.cell.bytes, sizeof value);
    return value == 0 ? "inside" : "outside";
}

ResolvedArgument resolved(const Parameter& parameter) {
    using Kind = ResolvedArgument::Kind;
    ResolvedArgument argument;
    argument.type = typeOf(parameter);
    argument.typed = true;
    const auto is = [&](zepl::ParamMask kinds) { return (parameter.kind & kinds) != 0; };
    argument.kind = is(zepl::anyPipe)          ? Kind::pipe
                    : is(zepl::triggerKind)    ? Kind::trigger
                    : is(zepl::anyVector)      ? Kind::vector
                    : is(zepl::variableScalar) ? Kind::variable
                    : is(zepl::stringKind)     ? Kind::text
                    : is(zepl::anyKeyword)     ? Kind::word
                                               : Kind::number;
    if (argument.kind == Kind::text || argument.kind == Kind::word) argument.text = wordIn(parameter);
    return argument;
}

bool isOfKind(const Parameter& parameter, const std::string& kind) {
    const zepl::ParamMask kinds = kind == "pipe"       ? zepl::anyPipe
                                  : kind == "trigger"  ? zepl::triggerKind
                                  : kind == "variable" ? zepl::variableScalar
                                  : kind == "vector"   ? zepl::anyVector
                                  : kind == "text"     ? zepl::stringKind
                                                       : zepl::constantScalar;
    return (parameter.kind & kinds) != 0;
}

// How many tasks have a variable in their lists, by its slot.
using VariableUses = std::unordered_map<zepl::Slot, std::size_t>;

VariableUses variableUses(const Engine& e) {
    VariableUses uses;
    for (const Task& task : e.graph.tasks) {
        std::set<zepl::Slot> its;
        for (const Parameter& parameter : task.parameters)
            if ((parameter.kind & zepl::variableScalar) != 0 && its.insert(parameter.slot).second)
                ++uses[parameter.slot];
    }
    return uses;
}

// A task's list by the names of its command's signature. A list that the signature does not describe has no names.
class NamedList {
 public:
    NamedList(const Engine& e, const Task& task, const VariableUses& uses) : e_(e), task_(task), uses_(uses) {
        if (task.command->parsed == nullptr) return;
        std::vector<ResolvedArgument> arguments;
        for (const Parameter& parameter : task.parameters) arguments.push_back(resolved(parameter));
        const auto bound = matchSignature(*task.command->parsed, arguments);
        if (!bound) return;
        for (const BoundArgument& each : *bound) names_.push_back(each.parameter->name);
    }

    bool isKnown() const { return names_.size() == task_.parameters.size(); }
    bool holds(const std::vector<CautionTerm>& terms) const {
        return std::all_of(terms.begin(), terms.end(), [&](const CautionTerm& term) { return holds(term); });
    }

 private:
    bool holds(const CautionTerm& term) const;
    bool holdsOf(const CautionTerm& term, std::size_t position) const;
    bool compares(const CautionTerm& term) const;
    std::optional<Value> valueOf(const CautionValue& value) const;
    std::optional<Value> valueOf(const std::string& name) const;
    std::optional<double> numberOf(const std::string& name) const;
    bool isUnsorted(const Vector& vector) const;
    bool arrives(std::size_t position) const;
    bool passes(std::size_t position, double count) const;
    static bool bypasses(const Pipe& pipe, const std::vector<std::string>& commands, std::set<const Pipe*>& followed);

    const Parameter* find(const std::string& name) const {
        const auto found = std::find(names_.begin(), names_.end(), name);
        return found == names_.end() ? nullptr : &at(static_cast<std::size_t>(found - names_.begin()));
    }
    const Parameter& at(std::size_t position) const { return task_.parameters[position]; }
    // The task's end at a parameter; null for none.
    template <class Ends>
    static auto portAt(const Ends& ends, std::size_t position) -> decltype(&ends.front()) {
        for (const auto& port : ends)
            if (port.position == static_cast<std::int32_t>(position + 1)) return &port;
        return nullptr;
    }

    const Engine& e_;
    const Task& task_;
    const VariableUses& uses_;
    std::vector<std::string> names_;  // of the parameters in their order
};

bool NamedList::holds(const CautionTerm& term) const {
    const auto count = std::count(names_.begin(), names_.end(), term.name);
    switch (term.form) {
        case TermForm::always:
            return true;
        case TermForm::given:
            return count > 0;
        case TermForm::missing:
            return count == 0;
        case TermForm::repeated:
            return count > 1;
        case TermForm::compared:
            return compares(term);
        default:
            break;
    }
    for (std::size_t i = 0; i < names_.size(); ++i)
        if (names_[i] == term.name && holdsOf(term, i)) return true;
    return false;
}

bool NamedList::holdsOf(const CautionTerm& term, std::size_t position) const {
    const Parameter& parameter = at(position);
    const bool isNumber = (parameter.kind & zepl::constantInteger) != 0;
    const bool isOdd = isNumber && static_cast<std::int64_t>(numberIn(parameter)) % 2 != 0;
    switch (term.form) {
        case TermForm::ofKind:
            return isOfKind(parameter, term.words[0]);
        case TermForm::ofType:
            return typeOf(parameter) == elementTypeNamed(term.words[0]);
        case TermForm::odd:
            return isOdd;
        case TermForm::even:
            return isNumber && !isOdd;
        case TermForm::contains:
            return upperCase(parameter.text).find(term.words[0]) != std::string::npos;
        case TermForm::lacks:
            return upperCase(parameter.text).find(term.words[0]) == std::string::npos;
        case TermForm::unlike:
            return find(term.words[0]) != nullptr && typeOf(parameter) != typeOf(*find(term.words[0]));
        case TermForm::unsorted:
            return (parameter.kind & zepl::anyVector) != 0 && isUnsorted(e_.graph.vectors[parameter.slot - 1]);
        case TermForm::arrives:
            return arrives(position);
        case TermForm::passes:
            return passes(position, parseNumber(term.words[0])->real);
        case TermForm::shared:
            return (parameter.kind & zepl::variableScalar) != 0 && uses_.at(parameter.slot) > 1;
        default:
            break;
    }
    const PipePort* port = portAt(task_.pipePorts, position);
    std::set<const Pipe*> followed;
    return port != nullptr && bypasses(*port->channel, term.words, followed);
}

bool NamedList::compares(const CautionTerm& term) const {
    const std::optional<Value> left = valueOf(term.left), right = valueOf(term.right);
    if (!left || !right || left->index() != right->index()) return false;
    return term.sign == '<' ? *left < *right : term.sign == '>' ? *left > *right : *left == *right;
}

std::optional<Value> NamedList::valueOf(const CautionValue& value) const {
    const std::optional<double> first = numberOf(value.name), second = numberOf(value.other);
    const Parameter* parameter = find(value.name);
    switch (value.form) {
        case ValueForm::number:
            return value.number;
        case ValueForm::block:
            return static_cast<double>(e_.options.block);
        case ValueForm::length:
            if (parameter == nullptr || (parameter->kind & zepl::anyVector) == 0) return std::nullopt;
            return static_cast<double>(e_.graph.vectors[parameter->slot - 1].length);
        case ValueForm::sum:
            return first && second ? std::optional<Value>(*first + *second) : std::nullopt;
        case ValueForm::product:
            return first && second ? std::optional<Value>(*first * *second) : std::nullopt;
        default:
            return valueOf(value.name);
    }
}

std::optional<Value> NamedList::valueOf(const std::string& name) const {
    const Parameter* parameter = find(name);
    if (parameter == nullptr) return name;
    if ((parameter->kind & zepl::anyKeyword) != 0 || parameter->kind == zepl::stringKind) return wordIn(*parameter);
    if (const std::optional<double> number = numberOf(name)) return *number;
    return std::nullopt;
}

// A constant's value. A variable has one only until a task changes it.
std::optional<double> NamedList::numberOf(const std::string& name) const {
    const Parameter* parameter = find(name);
    if (parameter == nullptr || (parameter->kind & zepl::constantScalar) == 0) return std::nullopt;
    return numberIn(*parameter);
}

bool NamedList::isUnsorted(const Vector& vector) const {
    return withElementType(vector.type, [&]<class Element>() {
        const auto* elements = reinterpret_cast<const Element*>(vector.elements.get());
        return std::adjacent_find(elements, elements + vector.length, [](Element a, Element b) { return !(a < b); }) !=
               elements + vector.length;
    });
}

bool NamedList::arrives(std::size_t position) const {
    const auto isFilled = [](const auto* port) {
        return port != nullptr && (port->channel->inputWrites || port->channel->writer != nullptr);
    };
    return isFilled(portAt(task_.pipePorts, position)) || isFilled(portAt(task_.triggerPorts, position));
}

bool NamedList::passes(std::size_t position, double count) const {
    if (e_.outcome.end == RunEnd::checkedOnly) return true;
    constexpr std::uint32_t beforeFirst = 0xFFFFFFFF;  // a trigger's status before sample 0
    const PipePort* pipe = portAt(task_.pipePorts, position);
    const TriggerPort* trigger = portAt(task_.triggerPorts, position);
    if (pipe != nullptr) return static_cast<double>(pipe->channel->writePosition) > count;
    return trigger != nullptr && trigger->channel->status != beforeFirst && trigger->channel->status > count;
}

bool NamedList::bypasses(const Pipe& pipe, const std::vector<std::string>& commands, std::set<const Pipe*>& followed) {
    if (!followed.insert(&pipe).second) return false;
    if (pipe.hasOutput || pipe.keepsAll) return true;
    return std::any_of(pipe.readers.begin(), pipe.readers.end(), [&](const PipePort* reader) {
        const std::string& command = reader->task->command->name;
        if (command == commands.front()) return false;
        if (std::find(commands.begin(), commands.end(), command) == commands.end()) return true;
        const auto& ends = reader->task->pipePorts;
        return std::any_of(ends.begin(), ends.end(), [&](const PipePort& port) {
            return port.mode == PortMode::writing && bypasses(*port.channel, commands, followed);
        });
    });
}

// A value that other tasks may change acts from the next block on, and which samples that has depends on the arrival.
void addDefinitionCautions(const Task& task, const VariableUses& uses, Report& report) {
    for (const Variable* variable : task.routine->variables)
        if (uses.contains(reinterpret_cast<zepl::Slot>(variable->cell.bytes)))
            report.cautions.push_back(
                {task.line,
                 task.command->name,
                 "`" + variable->name +
                     "` is read once a block: from which sample on a change of it acts depends on how the "
                     "input arrives",
                 {},
                 true,
                 task.number - 1,
                 task.element});
}

}  // namespace

void addCautions(const Engine& e, Report& report) {
    const CautionTable* table = e.options.cautions.get();
    if (table == nullptr || !e.setUpDone || e.outcome.end == RunEnd::refused) return;
    const std::vector<bool> onInput = tasksOnInputs(e);
    const VariableUses uses = variableUses(e);
    for (const Task& task : e.graph.tasks) {
        if (task.routine != nullptr) {
            if (onInput[task.number - 1]) addDefinitionCautions(task, uses, report);
            continue;
        }
        const std::vector<Caution>& cautions = table->of(task.command->name);
        if (cautions.empty()) continue;
        const NamedList list(e, task, uses);
        if (!list.isKnown()) continue;
        for (const Caution& caution : cautions) {
            const bool applies = std::any_of(caution.when.begin(), caution.when.end(),
                                             [&](const auto& terms) { return list.holds(terms); });
            if (applies && (!caution.isArrival || onInput[task.number - 1]))
                report.cautions.push_back({task.line, task.command->name, caution.text, caution.remedy,
                                           caution.isArrival, task.number - 1, task.element});
        }
    }
}

}  // namespace libzepl
