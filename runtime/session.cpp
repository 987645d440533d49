#include "runtime/session.h"

#include <algorithm>
#include <utility>

#include "runtime/flow.h"

namespace libzepl {

namespace {

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
std::uint32_t indexOf(Id id) {
    return static_cast<std::uint32_t>(id);
}

TaskArgument objectArgument(zepl::ParamMask kind, std::uint32_t object, const std::string& name) {
    TaskArgument argument;
    argument.kind = kind;
    argument.object = object;
    argument.name = name;
    return argument;
}

// Collects into memory, for an output with a limit.
class MemorySink : public Sink {
 public:
    explicit MemorySink(std::size_t width) : width_(width) {}
    void write(const void* from, std::size_t count) override {
        const auto* bytes = static_cast<const std::byte*>(from);
        bytes_.insert(bytes_.end(), bytes, bytes + count * width_);
    }
    void finish() override {}
    const std::vector<std::byte>& bytes() const { return bytes_; }

 private:
    std::size_t width_;
    std::vector<std::byte> bytes_;
};

// Makes a parameter of a started task out of what it was given.
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
        if ((argument.kind & zepl::anyPipe) != 0) return pipeSlot(argument);
        if ((argument.kind & zepl::triggerKind) != 0) return triggerSlot(argument);
        if ((argument.kind & zepl::anyVector) != 0) return argument.object + 1;
        if ((argument.kind & zepl::variableScalar) != 0) return addressOf(e_.variables.at(argument.object).cell);
        if ((argument.kind & (zepl::stringKind | zepl::declaredKeyword)) != 0)
            return reinterpret_cast<zepl::Slot>(parameter.text.c_str());
        return addressOf(parameter.cell);
    }
    static zepl::Slot addressOf(Cell& cell) { return reinterpret_cast<zepl::Slot>(cell.bytes); }

    zepl::Slot pipeSlot(const TaskArgument& argument) {
        PipeEnd& end = task_.pipeEnds.emplace_back();
        prepare(end, e_.pipes.at(argument.object));
        return e_.pipeHandles.add(end);
    }
    zepl::Slot triggerSlot(const TaskArgument& argument) {
        TriggerEnd& end = task_.triggerEnds.emplace_back();
        prepare(end, e_.triggers.at(argument.object));
        return e_.triggerHandles.add(end);
    }
    template <class EndType, class ChannelType>
    void prepare(EndType& end, ChannelType& channel) {
        end.channel = &channel;
        end.task = &task_;
        end.position = static_cast<std::int32_t>(task_.parameters.size());
    }

    Engine& e_;
    Task& task_;
};

}  // namespace

void storeCell(Cell& cell, ElementType type, const void* value) {
    std::memset(cell.bytes, 0, sizeof cell.bytes);
    withElementType(type, [&]<class Element>() {
        Element element;
        std::memcpy(&element, value, sizeof element);
        if constexpr (std::is_integral_v<Element>) {
            const std::int64_t wide = element;
            std::memcpy(cell.bytes, &wide, sizeof wide);
        } else {
            std::memcpy(cell.bytes, &element, sizeof element);
        }
    });
}

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

Engine::Engine(const CommandLibrary& commandLibrary, SessionOptions sessionOptions)
    : library(commandLibrary), options(std::move(sessionOptions)), memory(options.memoryLimit) {}

Session::Session(const CommandLibrary& library, SessionOptions options)
    : engine_(std::make_unique<Engine>(library, std::move(options))) {}

Session::~Session() = default;

PipeId Session::addPipe(PipeSettings settings) {
    Pipe& pipe = engine_->pipes.emplace_back();
    pipe.name = std::move(settings.name);
    pipe.type = settings.type;
    pipe.widthShift = settings.type == ElementType::int16 ? 1 : settings.type == ElementType::float64 ? 3 : 2;
    const std::uint64_t starts = settings.starts.size() >> pipe.widthShift;
    pipe.capacity = std::max<std::uint64_t>(settings.capacity.value_or(4 * std::uint64_t{engine_->options.block}), 1);
    pipe.capacity = std::max(pipe.capacity, starts);
    if (starts > 0) {
        if (!makeStorage(*engine_, pipe)) throw Problem("no memory is left for the pipe `" + pipe.name + "`");
        pipe.copyIn(settings.starts.data(), starts);
        pipe.written = starts;
        pipe.hasStarts = true;
    }
    return static_cast<PipeId>(engine_->pipes.size() - 1);
}

TriggerId Session::addTrigger(std::string name) {
    Trigger& trigger = engine_->triggers.emplace_back();
    trigger.name = std::move(name);
    trigger.capacity = triggerCapacity;
    trigger.storageUntil = ~std::uint64_t{0};
    return static_cast<TriggerId>(engine_->triggers.size() - 1);
}

VariableId Session::addVariable(std::string name, ElementType type, const void* value) {
    Variable& variable = engine_->variables.emplace_back();
    variable.name = std::move(name);
    variable.type = type;
    storeCell(variable.cell, type, value);
    return static_cast<VariableId>(engine_->variables.size() - 1);
}

VectorId Session::addVector(std::string name, ElementType type, std::vector<std::byte> elements) {
    AlignedBytes bytes = engine_->memory.take(elements.size()) ? allocateAligned(elements.size()) : nullptr;
    if (bytes == nullptr) throw Problem("no memory is left for the vector `" + name + "`", "raise --memory");
    if (!elements.empty()) std::memcpy(bytes.get(), elements.data(), elements.size());
    engine_->vectors.push_back({std::move(name), type, elements.size() / widthOf(type), std::move(bytes)});
    return static_cast<VectorId>(engine_->vectors.size() - 1);
}

void Session::addTask(TaskSettings settings) {
    const Command* command = engine_->library.find(settings.command);
    if (command == nullptr) throw Problem("unknown command " + libzepl::quoted(settings.command));
    Task& task = engine_->tasks.emplace_back(engine_->memory);
    task.number = static_cast<std::uint32_t>(engine_->tasks.size());
    task.command = command;
    task.line = settings.line;
    task.signatureAdvice = std::move(settings.signatureAdvice);
    task.slots.push_back(0);
    ParameterMaker maker(*engine_, task);
    for (const TaskArgument& argument : settings.arguments) maker.add(argument);
}

TaskArgument Session::use(PipeId id) const {
    const Pipe& pipe = engine_->pipes.at(indexOf(id));
    return objectArgument(pipeKind(pipe.type), indexOf(id), pipe.name);
}

TaskArgument Session::use(TriggerId id) const {
    return objectArgument(zepl::triggerKind, indexOf(id), engine_->triggers.at(indexOf(id)).name);
}

TaskArgument Session::use(VariableId id) const {
    const Variable& variable = engine_->variables.at(indexOf(id));
    return objectArgument(variableKind(variable.type), indexOf(id), variable.name);
}

TaskArgument Session::use(VectorId id) const {
    const Vector& vector = engine_->vectors.at(indexOf(id));
    return objectArgument(vectorKind(vector.type), indexOf(id), vector.name);
}

void Session::setInput(PipeId id, std::unique_ptr<Source> source) {
    PipeInput& input = engine_->pipeInputs.emplace_back();
    input.pipe = &engine_->pipes.at(indexOf(id));
    input.pipe->inputWrites = true;
    input.length = source->length();
    input.ended = input.length == std::uint64_t{0};
    input.channels = static_cast<std::uint64_t>(std::max(source->channels(), 1));
    input.source = std::move(source);
}

void Session::setInput(TriggerId id, std::vector<TriggerRow> rows) {
    TriggerInput& input = engine_->triggerInputs.emplace_back();
    input.trigger = &engine_->triggers.at(indexOf(id));
    input.trigger->inputWrites = true;
    input.rows = std::move(rows);
}

void Session::feedMemory(PipeId id, const void* elements, std::uint64_t count, int channels) {
    PipeInput& input = engine_->pipeInputs.emplace_back();
    input.pipe = &engine_->pipes.at(indexOf(id));
    input.pipe->inputWrites = true;
    input.memory = static_cast<const std::byte*>(elements);
    input.length = count;
    input.ended = count == 0;
    input.channels = static_cast<std::uint64_t>(std::max(channels, 1));
}

void Session::setOutput(PipeId id, std::unique_ptr<Sink> sink, std::optional<std::uint64_t> limit) {
    PipeOutput& output = engine_->pipeOutputs.emplace_back();
    output.end.channel = &engine_->pipes.at(indexOf(id));
    output.end.channel->hasOutput = true;
    output.end.channel->watched = true;
    output.sink = std::move(sink);
    output.limit = limit;
}

void Session::setOutput(TriggerId id, std::unique_ptr<TriggerSink> sink, std::optional<std::uint64_t> limit) {
    TriggerOutput& output = engine_->triggerOutputs.emplace_back();
    output.end.channel = &engine_->triggers.at(indexOf(id));
    output.end.channel->hasOutput = true;
    output.end.channel->watched = true;
    output.sink = std::move(sink);
    output.limit = limit;
}

void Session::collect(PipeId id, std::optional<std::uint64_t> limit, std::uint64_t expected) {
    Pipe& pipe = engine_->pipes.at(indexOf(id));
    if (limit || pipe.hasStarts) return setOutput(id, std::make_unique<MemorySink>(widthOf(pipe.type)), limit);
    PipeOutput& output = engine_->pipeOutputs.emplace_back();
    output.end.channel = &pipe;
    pipe.retains = true;
    if (expected > 0 && !makeStorage(*engine_, pipe, expected))
        throw Problem("no memory is left for what is to be collected");
}

void Session::collect(TriggerId id, std::optional<std::uint64_t> limit) { setOutput(id, nullptr, limit); }

const std::byte* Session::collectedBytes(PipeId id, std::uint64_t& count) const {
    const Pipe& pipe = engine_->pipes.at(indexOf(id));
    for (const PipeOutput& output : engine_->pipeOutputs) {
        if (output.end.channel != &pipe) continue;
        if (output.sink == nullptr) {
            count = pipe.written;
            return pipe.storage;
        }
        if (const auto* sink = dynamic_cast<const MemorySink*>(output.sink.get())) {
            count = sink->bytes().size() >> pipe.widthShift;
            return sink->bytes().data();
        }
    }
    throw Problem("`" + pipe.name + "` was not collected");
}

std::vector<std::uint32_t> Session::collectedEvents(TriggerId id) const {
    for (const TriggerOutput& output : engine_->triggerOutputs)
        if (output.end.channel == &engine_->triggers.at(indexOf(id)) && output.sink == nullptr) return output.events;
    throw Problem("`" + engine_->triggers.at(indexOf(id)).name + "` was not collected");
}

const void* Session::cellOf(VariableId id) const { return engine_->variables.at(indexOf(id)).cell.bytes; }

void Session::setTriggerMode(TriggerId id, std::uint32_t mode) { engine_->triggers.at(indexOf(id)).mode = mode; }

void Session::setTriggerProperty(TriggerId id, std::uint32_t selector, std::uint32_t value) {
    engine_->triggers.at(indexOf(id)).properties[selector] = value;
}

Report Session::run() { return engine_->run(); }

void Session::requestStop() { engine_->stopRequested.store(true, std::memory_order_relaxed); }

}  // namespace libzepl
