#include "runtime/session/task_arguments.h"

#include <bit>
#include <utility>

#include "runtime/host/parameter_texts.h"
#include "runtime/session/session_ids.h"

namespace libzepl {

namespace {

constexpr zepl::ParamMask channelKinds = zepl::anyPipe | zepl::triggerKind;
constexpr zepl::ParamMask objectKinds = channelKinds | zepl::anyVector | zepl::variableScalar;
constexpr zepl::ParamMask allKinds = objectKinds | zepl::constantScalar | zepl::stringKind | zepl::anyKeyword;

template <class Value>
TaskArgument constantOf(zepl::ParamMask kind, ElementType type, Value value) {
    TaskArgument argument;
    argument.kind = kind;
    Cell cell;
    storeCell(cell, type, &value);
    std::memcpy(argument.value.data(), cell.bytes, sizeof cell.bytes);
    return argument;
}

template <class Id>
auto& objectAs(Engine& e, const TaskArgument& argument) {
    return objectOf(e, static_cast<Id>(argument.object));
}

// The kind of what the argument names, which its own must be.
zepl::ParamMask kindOfObject(Engine& e, const TaskArgument& argument) {
    if ((argument.kind & zepl::anyPipe) != 0) return pipeKind(objectAs<PipeId>(e, argument).type);
    if ((argument.kind & zepl::anyVector) != 0) return vectorKind(objectAs<VectorId>(e, argument).type);
    if ((argument.kind & zepl::variableScalar) != 0) return variableKind(objectAs<VariableId>(e, argument).type);
    if (argument.kind == zepl::triggerKind) objectAs<TriggerId>(e, argument);
    return argument.kind;
}

// Makes the parameters of a task one after the other.
class ParameterMaker {
 public:
    ParameterMaker(Engine& e, Task& task) : e_(e), task_(task) {}

    void add(const TaskArgument& argument) {
        Parameter& parameter = task_.parameters.emplace_back();
        parameter.kind = argument.kind;
        parameter.name = argument.name;
        parameter.text = argument.text;
        std::memcpy(parameter.cell.bytes, argument.value.data(), argument.value.size());
        parameter.slot = slotOf(argument, parameter);
        task_.slots.push_back(parameter.slot);
    }

 private:
    zepl::Slot slotOf(const TaskArgument& argument, Parameter& parameter) {
        if ((argument.kind & zepl::anyPipe) != 0)
            return handleOf(task_.pipePorts, e_.graph.pipeHandles, objectAs<PipeId>(e_, argument));
        if ((argument.kind & zepl::triggerKind) != 0)
            return handleOf(task_.triggerPorts, e_.graph.triggerHandles, objectAs<TriggerId>(e_, argument));
        if ((argument.kind & zepl::anyVector) != 0) return static_cast<std::uint32_t>(argument.object) + 1;
        if ((argument.kind & zepl::variableScalar) != 0) return addressOf(objectAs<VariableId>(e_, argument).cell);
        if ((argument.kind & (zepl::stringKind | zepl::declaredKeyword)) != 0)
            return reinterpret_cast<zepl::Slot>(parameter.text.c_str());
        return addressOf(parameter.cell);
    }
    static zepl::Slot addressOf(Cell& cell) { return reinterpret_cast<zepl::Slot>(cell.bytes); }

    template <class PortType, class ChannelType>
    zepl::Slot handleOf(std::deque<PortType>& ends, HandleTable<PortType>& handles, ChannelType& channel) {
        PortType& port = ends.emplace_back();
        port.channel = &channel;
        port.task = &task_;
        port.position = static_cast<std::int32_t>(task_.parameters.size());
        return handles.add(port);
    }

    Engine& e_;
    Task& task_;
};

}  // namespace

TaskArgument int16Constant(std::int16_t value) { return constantOf(zepl::constantInt16, ElementType::int16, value); }
TaskArgument int32Constant(std::int32_t value) { return constantOf(zepl::constantInt32, ElementType::int32, value); }
TaskArgument floatConstant(float value) { return constantOf(zepl::constantFloat, ElementType::float32, value); }
TaskArgument doubleConstant(double value) { return constantOf(zepl::constantDouble, ElementType::float64, value); }

TaskArgument textConstant(std::string text) {
    TaskArgument argument;
    argument.kind = zepl::stringKind;
    argument.name = "\"" + text + "\"";
    argument.text = std::move(text);
    return argument;
}

TaskArgument declaredWord(std::string word) {
    TaskArgument argument;
    argument.kind = zepl::declaredKeyword;
    argument.name = word;
    argument.text = std::move(word);
    return argument;
}

TaskArgument hostWord(std::int32_t value, std::string name) {
    TaskArgument argument = constantOf(zepl::hostKeyword, ElementType::int32, value);
    argument.name = std::move(name);
    return argument;
}

void checkArguments(Engine& e, const TaskSettings& settings) {
    for (std::size_t i = 0; i < settings.arguments.size(); ++i) {
        const TaskArgument& argument = settings.arguments[i];
        const std::string which = "argument " + std::to_string(i + 1) + " of " + settings.command;
        const std::string remedy = "make arguments with use(), int16Constant() and their like";
        if (!std::has_single_bit(argument.kind) || (argument.kind & allKinds) == 0)
            throw Problem(which + " has no kind", remedy);
        const zepl::ParamMask kind = kindOfObject(e, argument);
        if (kind != argument.kind)
            throw Problem(which + " names " + describeKind(kind) + " and says it is " + describeKind(argument.kind),
                          remedy);
    }
}

void makeParameters(Engine& e, Task& task, const std::vector<TaskArgument>& arguments) {
    task.slots.push_back(0);
    ParameterMaker maker(e, task);
    for (const TaskArgument& argument : arguments) maker.add(argument);
}

}  // namespace libzepl
